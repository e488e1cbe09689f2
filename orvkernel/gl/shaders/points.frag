#include "fragment_common.glsl"

// Round points: fragments outside the disc inscribed in the point square
// are dropped.
uniform vec3 color;
uniform float opacity;
uniform int useVertexColors;

void main()
{
    vec2 fromCentre = gl_PointCoord * 2.0 - 1.0;
    if (dot(fromCentre, fromCentre) > 1.0)
        discard;
    vec4 result = vec4(color, opacity);
    if (useVertexColors != 0)
        result *= vIn.color;
    fragColor = vec4(ApplyState(result.rgb), result.a);
}
