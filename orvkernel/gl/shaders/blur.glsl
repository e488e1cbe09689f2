// Nine-tap Gaussian blur of "tDiffuse" along `delta` (in uv units per tap).
uniform sampler2D tDiffuse;

vec4 Blur(vec2 uv, vec2 delta)
{
    const float weights[5] = float[5](0.2270270, 0.1945946, 0.1216216, 0.0540541, 0.0162162);
    vec4 sum = texture(tDiffuse, uv) * weights[0];
    for (int i = 1; i < 5; ++i) {
        sum += texture(tDiffuse, uv + delta * float(i)) * weights[i];
        sum += texture(tDiffuse, uv - delta * float(i)) * weights[i];
    }
    return sum;
}
