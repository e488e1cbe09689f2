#pragma once

#include <memory>
#include <string>

#include <orvkernel/GfxObject.h>

namespace orvcore {

/// A named material: the parameters one draw call is made with, created from
/// a named template ("sys.pick.face" from the basic template, ...). Shared by
/// the shapes and nodes that use it.
class MaterialInstance : public GfxObject {
public:
    MaterialInstance() = default;
    explicit MaterialInstance(std::string name, std::string templateName = std::string())
        : m_Name(std::move(name)), m_TemplateName(std::move(templateName))
    {
    }

    static std::shared_ptr<MaterialInstance> Create(const std::string& name, const std::string& templateName = {})
    {
        return std::make_shared<MaterialInstance>(name, templateName);
    }

    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }
    const std::string& GetTemplateName() const { return m_TemplateName; }
    void SetTemplateName(const std::string& name) { m_TemplateName = name; }

private:
    std::string m_Name;
    std::string m_TemplateName;
};

} // namespace orvcore
