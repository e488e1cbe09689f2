#include "fragment_common.glsl"

// Round points: the disc inscribed in the point square. Its rim is cut
// hard (pointEdge 0: fragments outside are dropped), or, on multisampled
// framebuffers, smoothed over one pixel: the share of the pixel inside the
// disc multiplies the alpha (1: blended materials) or becomes the alpha that
// alpha to coverage turns into covered samples (2).
uniform vec3 color;
uniform float opacity;
uniform int useVertexColors;
uniform float pointSize;
uniform int pointEdge;

flat in vec2 pointCentre;

void main()
{
    float inside = 1.0;
    if (pointEdge == 0) {
        vec2 fromCentre = gl_PointCoord * 2.0 - 1.0;
        if (dot(fromCentre, fromCentre) > 1.0)
            discard;
    } else {
        // Pixels from the rim to the pixel centre, plus a half.
        float radius = max(pointSize, 1.0) * 0.5;
        inside = clamp(radius - length(gl_FragCoord.xy - pointCentre) + 0.5, 0.0, 1.0);
        if (inside <= 0.0)
            discard;
    }
    vec4 result = vec4(color, opacity);
    if (ORV_VERTEX_COLORS)
        result *= vIn.color;
    float alpha = pointEdge == 2 ? inside : result.a * inside;
    fragColor = vec4(ApplyState(result.rgb), alpha);
}
