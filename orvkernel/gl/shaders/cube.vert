#include "vertex_common.glsl"

// An environment box around the eye: only the camera rotation applies and
// the box lies on the far plane.
void main()
{
    PassVaryings(modelMatrix * vec4(position, 1.0));
    vec4 clip = projectionMatrix * mat4(mat3(viewMatrix)) * vec4(mat3(modelMatrix) * position, 1.0);
    gl_Position = clip.xyww;
}
