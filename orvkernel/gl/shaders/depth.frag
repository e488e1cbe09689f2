#include "fragment_common.glsl"

// The window depth of the fragment packed into the four 8-bit channels
// (red the coarsest), for targets without a float format.
vec4 PackDepth(float depth)
{
    vec4 bits = fract(depth * vec4(1.0, 255.0, 65025.0, 16581375.0));
    bits -= bits.yzww * vec4(1.0 / 255.0, 1.0 / 255.0, 1.0 / 255.0, 0.0);
    return bits;
}

void main()
{
    fragColor = PackDepth(gl_FragCoord.z);
}
