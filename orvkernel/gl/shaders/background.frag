#include "fragment_common.glsl"

// The background image "t2D" over the whole target, tinted by the colour.
uniform vec3 color;
uniform float opacity;
uniform sampler2D t2D;

void main()
{
    fragColor = texture(t2D, vIn.uv) * vec4(color, opacity);
}
