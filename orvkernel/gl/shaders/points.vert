#include "vertex_common.glsl"

// Points pass their centre in window pixels besides the common varyings: a
// smoothed rim is measured from it (gl_PointCoord is not taken at the pixel
// centre on every driver's multisampled path).
flat out vec2 pointCentre;

void main()
{
    vec4 viewPosition = ModelViewMatrix() * vec4(position, 1.0);
    PassVaryings(viewPosition);
    gl_Position = projectionMatrix * viewPosition;
    gl_PointSize = pointSize;
    pointCentre = (gl_Position.xy / gl_Position.w * 0.5 + 0.5) * viewportSize;
}
