#include <orvkernel/material/RawShader.h>

#include <orvkernel/material/MaterialManager.h>

namespace orvcore {

RawShader::RawShader(std::string name, std::string vertexSource, std::string fragmentSource)
    : MaterialInstance(std::move(name), kTemplate), m_VertexSource(std::move(vertexSource)),
      m_FragmentSource(std::move(fragmentSource))
{
    DepthWrite = false;
}

std::shared_ptr<RawShader> RawShader::Create(const std::string& name, const std::string& vertexSource,
                                             const std::string& fragmentSource)
{
    auto shader = std::make_shared<RawShader>(name, vertexSource, fragmentSource);
    MaterialManager::Instance().Register(shader, kTemplate);
    return shader;
}

RawShader* RawShader::Cast(MaterialInstance* material) { return dynamic_cast<RawShader*>(material); }

} // namespace orvcore
