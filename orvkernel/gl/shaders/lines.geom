// Turns every line segment into a screen-space quad of `lineWidth` pixels:
// the core profile has no wide lines. Segments that cross the near plane are
// cut there first, so that the pixel offsets stay in front of the camera.
layout(lines) in;
layout(triangle_strip, max_vertices = 4) out;

in Varyings {
    vec4 color;
    vec2 uv;
    vec3 normal;
    vec3 viewPosition;
    float lineDistance;
} gIn[];

out Varyings {
    vec4 color;
    vec2 uv;
    vec3 normal;
    vec3 viewPosition;
    float lineDistance;
} gOut;

uniform vec2 viewportSize;
uniform float lineWidth;
uniform mat4 projectionMatrix;
uniform mat4 modelViewMatrix;
// Non-zero for lines that lie in their model's z = 0 plane, like a ground
// grid: their quads are laid in that plane and pushed behind it by twice its
// depth slope plus a few depth steps. Faces in the plane, which the model
// pass pushes back by one slope and one step, then win over the lines, while
// anything in front of the plane still hides them.
uniform int linesInPlane;

// The lines' plane in clip space, its depth bias, and the inverse of the
// model-view-projection matrix; valid when `planeReady` is set.
bool planeReady = false;
vec4 plane;
float planeBias;
mat4 inverseMvp;

void EmitAt(float t, vec4 clip, vec2 offsetPixels)
{
    gOut.color = mix(gIn[0].color, gIn[1].color, t);
    gOut.uv = mix(gIn[0].uv, gIn[1].uv, t);
    gOut.normal = mix(gIn[0].normal, gIn[1].normal, t);
    gOut.viewPosition = mix(gIn[0].viewPosition, gIn[1].viewPosition, t);
    gOut.lineDistance = mix(gIn[0].lineDistance, gIn[1].lineDistance, t);
    // Pixels to normalised device units (2 / size), then to clip units (x w).
    gl_Position = clip + vec4(offsetPixels * 2.0 / viewportSize * clip.w, 0.0, 0.0);
    if (planeReady) {
        // The point of the plane under the offset vertex, at its own depth
        // and w, so that the quad lies in the plane.
        vec2 ndc = clip.xy / clip.w + offsetPixels * 2.0 / viewportSize;
        float z = -(plane.x * ndc.x + plane.y * ndc.y + plane.w) / plane.z;
        float w = (inverseMvp * vec4(ndc, z, 1.0)).w;
        if (w > 0.0)
            gl_Position = vec4(ndc, z + planeBias, 1.0) / w;
    }
    EmitVertex();
}

void PreparePlane()
{
    inverseMvp = inverse(projectionMatrix * modelViewMatrix);
    plane = transpose(inverseMvp) * vec4(0.0, 0.0, 1.0, 0.0);
    if (abs(plane.z) < 1e-12 * (abs(plane.x) + abs(plane.y) + abs(plane.w)))
        return; // seen edge-on: ordinary quads
    // Window depth per pixel along x and y, as polygon offset measures it.
    float slope = max(abs(plane.x / plane.z) / viewportSize.x, abs(plane.y / plane.z) / viewportSize.y);
    planeBias = 2.0 * (2.0 * slope + 8.0 / 16777216.0);
    planeReady = true;
}

void main()
{
    if (linesInPlane != 0)
        PreparePlane();
    vec4 p0 = gl_in[0].gl_Position;
    vec4 p1 = gl_in[1].gl_Position;
    // Signed distances to the near plane (z = -w); negative is behind it.
    float d0 = p0.z + p0.w;
    float d1 = p1.z + p1.w;
    if (d0 < 0.0 && d1 < 0.0)
        return;
    float t0 = 0.0;
    float t1 = 1.0;
    if (d0 < 0.0)
        t0 = d0 / (d0 - d1);
    else if (d1 < 0.0)
        t1 = d0 / (d0 - d1);
    vec4 c0 = mix(p0, p1, t0);
    vec4 c1 = mix(p0, p1, t1);
    c0.w = max(c0.w, 1e-6);
    c1.w = max(c1.w, 1e-6);

    vec2 s0 = c0.xy / c0.w * viewportSize * 0.5;
    vec2 s1 = c1.xy / c1.w * viewportSize * 0.5;
    vec2 direction = s1 - s0;
    float length2 = dot(direction, direction);
    direction = length2 > 1e-12 ? direction * inversesqrt(length2) : vec2(1.0, 0.0);
    vec2 side = vec2(-direction.y, direction.x) * (max(lineWidth, 1.0) * 0.5);

    EmitAt(t0, c0, side);
    EmitAt(t0, c0, -side);
    EmitAt(t1, c1, side);
    EmitAt(t1, c1, -side);
    EndPrimitive();
}
