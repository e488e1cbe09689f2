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

const float kSpecularStrength = 0.25;

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
    if (useVertexColors != 0)
        base *= vIn.color;
    if (useMap != 0)
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
    if (lightCount < 0) {
        AddLight(toEye, vec3(0.65), n, toEye, diffuse, specular);
    } else {
        for (int i = 0; i < min(lightCount, 4); ++i) {
            vec3 toLight = -(mat3(viewMatrix) * lightDirections[i]);
            float l2 = dot(toLight, toLight);
            if (l2 > 1e-12)
                AddLight(toLight * inversesqrt(l2), lightColors[i], n, toEye, diffuse, specular);
        }
    }
    vec3 rgb = base.rgb * (ambientLight + diffuse) + specular;
    fragColor = vec4(ApplyState(rgb), base.a);
}
