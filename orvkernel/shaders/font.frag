#include "fragment_common.glsl"

// The texture holds white glyph coverage: in alpha over a transparent
// image, or blended over an opaque background colour. The glyphs are tinted
// with the colour; the background keeps its colour.
uniform vec3 color;
uniform float opacity;
uniform sampler2D map;
uniform int hasBackground;
uniform vec3 background;

void main()
{
    vec4 texel = texture(map, vIn.uv);
    if (hasBackground == 0) {
        fragColor = vec4(ApplyState(color * texel.rgb), texel.a * opacity);
        return;
    }
    // Recover the coverage from how far the texel moved from the background
    // towards white, on the channels where that can be seen.
    float coverage = 0.0;
    for (int i = 0; i < 3; ++i) {
        float room = 1.0 - background[i];
        if (room > 1.0 / 255.0)
            coverage = max(coverage, clamp((texel[i] - background[i]) / room, 0.0, 1.0));
    }
    fragColor = vec4(ApplyState(mix(background, color, coverage)), texel.a * opacity);
}
