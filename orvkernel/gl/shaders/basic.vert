#include "vertex_common.glsl"

void main()
{
    vec4 viewPosition = ModelViewMatrix() * vec4(position, 1.0);
    PassVaryings(viewPosition);
    gl_Position = projectionMatrix * viewPosition;
    gl_PointSize = pointSize;
}
