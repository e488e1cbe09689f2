#include "fragment_common.glsl"

// The cube map "envMap" in the world direction of the fragment; flipEnvMap
// (1 or -1) mirrors x for maps rendered with the other handedness.
uniform samplerCube envMap;
uniform float flipEnvMap;
uniform float opacity;

void main()
{
    vec3 direction = vIn.viewPosition;
    vec4 texel = texture(envMap, vec3(flipEnvMap * direction.x, direction.yz));
    fragColor = vec4(texel.rgb, texel.a * opacity);
}
