#pragma once

#include <memory>

#include <orvkernel/material/RawShader.h>
#include <orvcore/render/BasePass.h>

namespace orvcore {

/// Draws a screen-filling quad with a raw shader that reads the previous
/// result from texture unit 0; sets its "viewportSize" uniform.
class ShaderPass : public BasePass {
public:
    explicit ShaderPass(const std::shared_ptr<RawShader>& shader);
    void Render(Renderer* renderer, RenderPassContext& context) override;
    const std::shared_ptr<RawShader>& GetShader() const { return m_Shader; }

private:
    std::shared_ptr<RawShader> m_Shader;
};

} // namespace orvcore
