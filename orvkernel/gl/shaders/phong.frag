#include "fragment_common.glsl"

// Blinn-Phong shading by up to four directional lights given in world space
// (the way the light travels). A negative light count means that no light
// data was set: one white light from the eye is used then.
uniform mat4 projectionMatrix;
uniform mat4 viewMatrix;
uniform vec3 color;
uniform float opacity;
uniform float shininess;
uniform int useVertexColors;
uniform int useMap;
uniform sampler2D map;
// Fragments whose alpha falls below it are dropped (0: none).
uniform float alphaTest;
uniform int faceSide;
uniform int lightCount;
uniform vec3 lightDirections[4];
uniform vec3 lightColors[4];
uniform vec3 ambientLight;
// Shadow maps: bit i of shadowMask says that light i has one, in
// shadowMap<i> (the light camera's window depth); shadowMatrices[i] takes a
// view-space position to that map's [0, 1] coordinates and depth.
// shadowBias is one map texel of depth, the unit of the acne bias.
uniform int shadowMask;
uniform mat4 shadowMatrices[4];
uniform float shadowBias;
uniform sampler2D shadowMap0;
uniform sampler2D shadowMap1;
uniform sampler2D shadowMap2;
uniform sampler2D shadowMap3;

const float kSpecularStrength = 0.25;

// Percentage-closer filtering: the depth comparisons of the 4 x 4 texels
// around the point, weighted as a 3 x 3 box of bilinear 2 x 2 lookups, so
// that the lit fraction changes smoothly across a shadow's edge.
float LitFraction(sampler2D map, vec3 p, float bias)
{
    if (p.z >= 1.0 || any(lessThan(p.xy, vec2(0.0))) || any(greaterThan(p.xy, vec2(1.0))))
        return 1.0;
    ivec2 size = textureSize(map, 0);
    vec2 texel = p.xy * vec2(size) - 0.5;
    vec2 base = floor(texel);
    vec2 f = texel - base;
    float lit = 0.0;
    for (int j = -1; j <= 2; ++j) {
        float wy = j == -1 ? 1.0 - f.y : (j == 2 ? f.y : 1.0);
        for (int i = -1; i <= 2; ++i) {
            float wx = i == -1 ? 1.0 - f.x : (i == 2 ? f.x : 1.0);
            ivec2 at = clamp(ivec2(base) + ivec2(i, j), ivec2(0), size - 1);
            lit += (p.z - bias <= texelFetch(map, at, 0).r ? 1.0 : 0.0) * wx * wy;
        }
    }
    return lit / 9.0;
}

float Shadow(int light, float cosine)
{
    if (!ORV_SHADOWS || (shadowMask & (1 << light)) == 0)
        return 1.0;
    vec4 p = shadowMatrices[light] * vec4(vIn.viewPosition, 1.0);
    // More bias where the light grazes the surface (depth changes fast
    // across a texel there), within limits.
    float slope = sqrt(max(1.0 - cosine * cosine, 0.0)) / max(cosine, 0.2);
    float bias = shadowBias * (1.5 + 2.0 * slope);
    if (light == 0)
        return LitFraction(shadowMap0, p.xyz, bias);
    if (light == 1)
        return LitFraction(shadowMap1, p.xyz, bias);
    if (light == 2)
        return LitFraction(shadowMap2, p.xyz, bias);
    return LitFraction(shadowMap3, p.xyz, bias);
}

void AddLight(vec3 toLight, vec3 lightColor, vec3 n, vec3 toEye, inout vec3 diffuse, inout vec3 specular)
{
    float lambert = max(dot(n, toLight), 0.0);
    diffuse += lightColor * lambert;
    if (lambert > 0.0) {
        vec3 halfway = normalize(toLight + toEye);
        specular += lightColor * (pow(max(dot(n, halfway), 0.0), max(shininess, 1.0)) * kSpecularStrength);
    }
}

void main()
{
    vec4 base = vec4(color, opacity);
    if (ORV_VERTEX_COLORS)
        base *= vIn.color;
    if (ORV_MAP)
        base *= texture(map, vIn.uv);
    if (base.a < alphaTest)
        discard;

    vec3 n = vIn.normal;
    float length2 = dot(n, n);
    n = length2 > 1e-12 ? n * inversesqrt(length2) : vec3(0.0, 0.0, 1.0);
    // Back faces are drawn only for back or double-sided materials: light
    // them as seen from their side.
    if (faceSide != 0 && !gl_FrontFacing)
        n = -n;
    // Orthographic projections look along -z everywhere.
    vec3 toEye = projectionMatrix[2][3] == 0.0 ? vec3(0.0, 0.0, 1.0) : normalize(-vIn.viewPosition);

    vec3 diffuse = vec3(0.0);
    vec3 specular = vec3(0.0);
    if (ORV_LIGHT_COUNT < 0) {
        // The light from the eye: its halfway vector is the eye direction.
        float lambert = max(dot(n, toEye), 0.0);
        diffuse = vec3(0.65 * lambert);
        if (lambert > 0.0)
            specular = vec3(0.65 * kSpecularStrength) * pow(lambert, max(shininess, 1.0));
    } else {
        for (int i = 0; i < min(ORV_LIGHT_COUNT, 4); ++i) {
            vec3 toLight = -(mat3(viewMatrix) * lightDirections[i]);
            float l2 = dot(toLight, toLight);
            if (l2 > 1e-12) {
                toLight *= inversesqrt(l2);
                float lit = Shadow(i, max(dot(n, toLight), 0.0));
                AddLight(toLight, lightColors[i] * lit, n, toEye, diffuse, specular);
            }
        }
    }
    vec3 rgb = base.rgb * (ambientLight + diffuse) + specular;
    fragColor = vec4(ApplyState(rgb), base.a);
}
