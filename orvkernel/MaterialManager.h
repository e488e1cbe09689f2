#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <orvkernel/MaterialInstance.h>
#include <orvkernel/MaterialTemplate.h>

namespace orvcore {

class RenderDevice;

/// Process-wide registry of material templates and of the instances made
/// from them. The built-in templates ("basic", "phong", "points", "dashed",
/// "font", "background", "cube", "depth", ...) are registered on first use
/// of `Instance()`.
class MaterialManager {
public:
    static MaterialManager& Instance();

    /// Registers (or replaces) a template.
    void AddTemplate(const std::shared_ptr<MaterialTemplate>& materialTemplate);
    /// The template of that name, or empty.
    std::shared_ptr<MaterialTemplate> FindTemplate(const std::string& name) const;

    /// A new plain instance of a template, registered. An unknown template
    /// logs "Material template is not found: <name>!" and gives an instance
    /// without template, which the device skips when drawing.
    std::shared_ptr<MaterialInstance> Create(const std::string& instanceName, const std::string& templateName);
    /// Binds an instance made elsewhere (a material kind's `Create`) to a
    /// template and registers it; same failure rule.
    void Register(const std::shared_ptr<MaterialInstance>& instance, const std::string& templateName);

    /// Instances still alive (weakly held; the expired ones are dropped).
    std::vector<std::shared_ptr<MaterialInstance>> GetInstances();

    /// Prepares every template's program on the device.
    void Build(RenderDevice* device);

private:
    MaterialManager();
    MaterialManager(const MaterialManager&) = delete;
    MaterialManager& operator=(const MaterialManager&) = delete;

    std::unordered_map<std::string, std::shared_ptr<MaterialTemplate>> m_Templates;
    std::vector<std::weak_ptr<MaterialInstance>> m_Instances;
};

} // namespace orvcore
