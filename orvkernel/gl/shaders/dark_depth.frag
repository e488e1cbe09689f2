#include "fragment_common.glsl"

// Contact shadow: black whose opacity grows as the fragment gets closer to
// the shadow camera (depth 0), scaled by `darkness`.
uniform float darkness;

void main()
{
    fragColor = vec4(0.0, 0.0, 0.0, (1.0 - gl_FragCoord.z) * darkness);
}
