#include "vertex_common.glsl"

// A quad given in normalised device coordinates, at the far plane.
void main()
{
    PassVaryings(vec4(position, 1.0));
    gl_Position = vec4(position.xy, 1.0, 1.0);
}
