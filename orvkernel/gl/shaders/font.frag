#include "fragment_common.glsl"

// The texture holds white glyph coverage in alpha. Without a background the
// glyphs are the colour at that coverage; with one the quad is opaque and
// the glyphs are laid over the background colour.
uniform vec3 color;
uniform float opacity;
uniform sampler2D map;
uniform int hasBackground;
uniform vec3 background;

void main()
{
    float coverage = texture(map, vIn.uv).a;
    if (hasBackground == 0) {
        fragColor = vec4(ApplyState(color), coverage * opacity);
        return;
    }
    fragColor = vec4(ApplyState(mix(background, color, coverage)), opacity);
}
