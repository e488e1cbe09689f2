// Declarations shared by every vertex shader: the attribute slots of
// BufferGeometry, the camera uniforms the device sets per draw, and the
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
    vOut.normal = normalMatrix * normal;
    vOut.viewPosition = viewPosition.xyz;
    vOut.lineDistance = lineDistance;
}
