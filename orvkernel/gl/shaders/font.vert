#include "vertex_common.glsl"

// A text rectangle. As a billboard it keeps the model origin and the model
// scale but always faces the camera: the corners are laid out in view space.
uniform int billboard;

void main()
{
    vec4 viewPosition;
    if (billboard != 0) {
        vec2 scale = vec2(length(modelMatrix[0].xyz), length(modelMatrix[1].xyz));
        viewPosition = modelViewMatrix * vec4(0.0, 0.0, 0.0, 1.0) + vec4(position.xy * scale, 0.0, 0.0);
    } else {
        viewPosition = modelViewMatrix * vec4(position, 1.0);
    }
    PassVaryings(viewPosition);
    gl_Position = projectionMatrix * viewPosition;
    gl_PointSize = pointSize;
}
