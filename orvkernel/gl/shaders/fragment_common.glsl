// Declarations shared by every fragment shader.

// Material features and the light count a program may be specialised for.
// The program the device builds first reads them from the uniforms; for the
// combinations that materials then draw with, it builds programs in which
// they are constants, so that the code under a feature that is off, and the
// varyings only that code read, drop out, and loops over the lights unroll.
#ifndef ORV_VERTEX_COLORS
#define ORV_VERTEX_COLORS (useVertexColors != 0)
#define ORV_MAP (useMap != 0)
#define ORV_SHADOWS (shadowMask != 0)
#define ORV_LIGHT_COUNT lightCount
#endif
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
