#include "fragment_common.glsl"

// Unlit colour, optionally times the vertex colours and the texture "map".
uniform vec3 color;
uniform float opacity;
uniform int useVertexColors;
uniform int useMap;
uniform sampler2D map;
// Fragments whose alpha falls below it are dropped (0: none).
uniform float alphaTest;

void main()
{
    vec4 result = vec4(color, opacity);
    if (ORV_VERTEX_COLORS)
        result *= vIn.color;
    if (ORV_MAP)
        result *= texture(map, vIn.uv);
    if (result.a < alphaTest)
        discard;
    fragColor = vec4(ApplyState(result.rgb), result.a);
}
