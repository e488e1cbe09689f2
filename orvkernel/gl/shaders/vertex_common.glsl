// Declarations shared by every vertex shader: the attribute slots of
// BufferGeometry, the camera uniforms the device sets per draw (or the
// instance attributes of an instanced draw), and the
// varyings block that the line geometry shader and the fragment shaders read.
layout(location = 0) in vec3 position;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec2 uv;
layout(location = 3) in vec4 color;
layout(location = 4) in float lineDistance;

uniform mat4 projectionMatrix;
uniform mat4 viewMatrix;
uniform mat4 modelMatrix;
uniform mat4 modelViewMatrix;
uniform mat3 normalMatrix;
uniform vec2 viewportSize;
uniform float pointSize;

// Instanced draws ("instanced" 1) take each instance's model-view and
// normal matrices from per-instance attributes instead of the uniforms.
layout(location = 8) in mat4 instanceModelView;
layout(location = 12) in mat3 instanceNormalMatrix;
uniform int instanced;

mat4 ModelViewMatrix() { return instanced != 0 ? instanceModelView : modelViewMatrix; }
mat3 NormalMatrix() { return instanced != 0 ? instanceNormalMatrix : normalMatrix; }

out Varyings {
    vec4 color;
    vec2 uv;
    vec3 normal;
    vec3 viewPosition;
    float lineDistance;
} vOut;

// Fills the varyings from the attributes for a vertex at a view-space position.
void PassVaryings(vec4 viewPosition)
{
    vOut.color = color;
    vOut.uv = uv;
    vOut.normal = NormalMatrix() * normal;
    vOut.viewPosition = viewPosition.xyz;
    vOut.lineDistance = lineDistance;
}
