#include "fragment_common.glsl"

// Lines dashed along the line-distance attribute: `dashSize` drawn, then
// `gapSize` left out. Without the attribute (useDash 0) the line is solid.
uniform vec3 color;
uniform float opacity;
uniform int useVertexColors;
uniform int useDash;
uniform float dashSize;
uniform float gapSize;

void main()
{
    if (useDash != 0 && gapSize > 0.0 && mod(vIn.lineDistance, dashSize + gapSize) > dashSize)
        discard;
    vec4 result = vec4(color, opacity);
    if (ORV_VERTEX_COLORS)
        result *= vIn.color;
    fragColor = vec4(ApplyState(result.rgb), result.a);
}
