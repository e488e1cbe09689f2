// Declarations shared by every fragment shader.
in Varyings {
    vec4 color;
    vec2 uv;
    vec3 normal;
    vec3 viewPosition;
    float lineDistance;
} vIn;

out vec4 fragColor;

// Material display state: 3 marks the material, drawn brighter.
uniform int state;

vec3 ApplyState(vec3 rgb)
{
    return state == 3 ? mix(rgb, vec3(1.0), 0.4) : rgb;
}
