#include "fragment_common.glsl"
#include "blur.glsl"

// `v` is the vertical step in uv units (blur radius / target height).
uniform float v;

void main()
{
    fragColor = Blur(vIn.uv, vec2(0.0, v));
}
