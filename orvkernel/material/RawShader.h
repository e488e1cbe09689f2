#pragma once

#include <memory>
#include <string>

#include <orvkernel/material/MaterialInstance.h>

namespace orvcore {

/// A material whose program comes from its own GLSL sources rather than a
/// built-in template: the shader of a screen pass. Its uniforms are set
/// through the material's uniform set.
class RawShader : public MaterialInstance {
public:
    static constexpr const char* kTemplate = "raw";
    RawShader(std::string name, std::string vertexSource, std::string fragmentSource);
    /// A new raw shader, registered with the material manager.
    static std::shared_ptr<RawShader> Create(const std::string& name, const std::string& vertexSource,
                                             const std::string& fragmentSource);

    const std::string& GetVertexSource() const { return m_VertexSource; }
    const std::string& GetFragmentSource() const { return m_FragmentSource; }
    static RawShader* Cast(MaterialInstance* material);

private:
    std::string m_VertexSource;
    std::string m_FragmentSource;
};

} // namespace orvcore
