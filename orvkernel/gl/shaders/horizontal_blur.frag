#include "fragment_common.glsl"
#include "blur.glsl"

// `h` is the horizontal step in uv units (blur radius / target width).
uniform float h;

void main()
{
    fragColor = Blur(vIn.uv, vec2(h, 0.0));
}
