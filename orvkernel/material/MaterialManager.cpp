#include <orvkernel/material/MaterialManager.h>

#include <orvcommon/Logger.h>
#include <orvkernel/device/RenderDevice.h>

#include <algorithm>

namespace orvcore {

MaterialManager& MaterialManager::Instance()
{
    // Never destroyed: materials held by static objects of other libraries may
    // be made or released after this translation unit's statics are gone.
    static MaterialManager* const instance = new MaterialManager();
    return *instance;
}

MaterialManager::MaterialManager()
{
    struct BuiltIn {
        const char* name;
        uint32_t options;
    };
    static const BuiltIn builtIns[] = {
        {"basic", TEMPLATE_OPTION_CLIPPING},
        {"phong", TEMPLATE_OPTION_LIGHTING | TEMPLATE_OPTION_CLIPPING},
        {"points", TEMPLATE_OPTION_CLIPPING},
        {"dashed", TEMPLATE_OPTION_CLIPPING},
        {"font", 0u},
        {"background", 0u},
        {"cube", 0u},
        {"depth", TEMPLATE_OPTION_CLIPPING},
        {"ext/dark_depth", 0u},
        {"ext/HorizontalBlur", 0u},
        {"ext/VerticalBlur", 0u},
        {"raw", 0u}, // programs from a RawShader's own sources
    };
    for (const BuiltIn& builtIn : builtIns)
        m_Templates[builtIn.name] = std::make_shared<MaterialTemplate>(builtIn.name, builtIn.options);
}

void MaterialManager::AddTemplate(const std::shared_ptr<MaterialTemplate>& materialTemplate)
{
    if (!materialTemplate) {
        Logger::Instance().Waring("Material template is null!");
        return;
    }
    m_Templates[materialTemplate->GetName()] = materialTemplate;
}

std::shared_ptr<MaterialTemplate> MaterialManager::FindTemplate(const std::string& name) const
{
    const auto it = m_Templates.find(name);
    return it == m_Templates.end() ? nullptr : it->second;
}

std::shared_ptr<MaterialInstance> MaterialManager::Create(const std::string& instanceName,
                                                          const std::string& templateName)
{
    auto instance = std::make_shared<MaterialInstance>(instanceName);
    Register(instance, templateName);
    return instance;
}

void MaterialManager::Register(const std::shared_ptr<MaterialInstance>& instance, const std::string& templateName)
{
    if (!instance) {
        Logger::Instance().Waring("Material is null!");
        return;
    }
    std::shared_ptr<MaterialTemplate> materialTemplate;
    if (!templateName.empty()) {
        materialTemplate = FindTemplate(templateName);
        if (!materialTemplate)
            Logger::Instance().Waring("Material template is not found: " + templateName + "!");
    }
    instance->BindTemplate(templateName, materialTemplate);

    m_Instances[instance->GetObjectId()] = instance;
    // Amortised clean-up: the table never grows past twice its live size.
    if (m_Instances.size() >= m_PruneAt) {
        Prune();
        m_PruneAt = std::max<std::size_t>(64, m_Instances.size() * 2);
    }
}

void MaterialManager::Prune()
{
    for (auto it = m_Instances.begin(); it != m_Instances.end();) {
        if (it->second.expired())
            it = m_Instances.erase(it);
        else
            ++it;
    }
}

std::vector<std::shared_ptr<MaterialInstance>> MaterialManager::GetInstances()
{
    std::vector<std::shared_ptr<MaterialInstance>> instances;
    instances.reserve(m_Instances.size());
    for (auto it = m_Instances.begin(); it != m_Instances.end();) {
        if (auto instance = it->second.lock()) {
            instances.push_back(std::move(instance));
            ++it;
        } else {
            it = m_Instances.erase(it);
        }
    }
    return instances;
}

void MaterialManager::Build(RenderDevice* device)
{
    if (!device) {
        Logger::Instance().Waring("Device is null!");
        return;
    }
    // A copy: the device may register templates of its own while building.
    std::vector<std::shared_ptr<MaterialTemplate>> templates;
    templates.reserve(m_Templates.size());
    for (const auto& entry : m_Templates)
        templates.push_back(entry.second);
    std::sort(templates.begin(), templates.end(),
              [](const auto& a, const auto& b) { return a->GetName() < b->GetName(); });
    for (const auto& materialTemplate : templates)
        device->BuildTemplate(materialTemplate);
}

} // namespace orvcore
