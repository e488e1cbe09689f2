#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/material/MaterialTemplate.h>

namespace orvcore {

class RenderDevice;

/// Process-wide registry of material templates and of the instances made
/// from them. The built-in templates ("basic", "phong", "points", "dashed",
/// "font", "background", "cube", "depth", "ext/dark_depth",
/// "ext/HorizontalBlur", "ext/VerticalBlur") are registered on first use of
/// `Instance()`. The manager lives until the process ends (it is never
/// destroyed), so materials may be made and released from static objects.
class MaterialManager {
public:
    static MaterialManager& Instance();

    /// Registers (or replaces) a template; an empty pointer logs
    /// "Material template is null!".
    void AddTemplate(const std::shared_ptr<MaterialTemplate>& materialTemplate);
    /// The template of that name, or empty.
    std::shared_ptr<MaterialTemplate> FindTemplate(const std::string& name) const;

    /// A new plain instance of a template, registered. An unknown template
    /// logs "Material template is not found: <name>!" and gives an instance
    /// without template, which the device skips when drawing.
    std::shared_ptr<MaterialInstance> Create(const std::string& instanceName, const std::string& templateName);
    /// Binds an instance made elsewhere (a material kind's `Create`) to a
    /// template and registers it (once; registering again only rebinds); same
    /// failure rule. An empty template name binds no template, silently; an
    /// empty instance logs "Material is null!".
    void Register(const std::shared_ptr<MaterialInstance>& instance, const std::string& templateName);

    /// Instances still alive (weakly held; the expired ones are dropped).
    std::vector<std::shared_ptr<MaterialInstance>> GetInstances();

    /// Prepares every template's program on the device, in name order. An
    /// empty device logs "Device is null!".
    void Build(RenderDevice* device);

private:
    MaterialManager();
    MaterialManager(const MaterialManager&) = delete;
    MaterialManager& operator=(const MaterialManager&) = delete;

    /// Drops the instances that no longer exist.
    void Prune();

    std::unordered_map<std::string, std::shared_ptr<MaterialTemplate>> m_Templates;
    /// Registered instances by object id (ids only grow, so this is
    /// registration order and the id is never reused).
    std::map<uint32_t, std::weak_ptr<MaterialInstance>> m_Instances;
    /// Registration prunes the expired entries when the table reaches this size.
    std::size_t m_PruneAt = 64;
};

} // namespace orvcore
