#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace orvcore {

/// Option bits of a material template, copied into each instance made from it.
enum EnumTemplateOption : uint32_t {
    TEMPLATE_OPTION_LIGHTING = 1, ///< shaded by the view's lights
    TEMPLATE_OPTION_CLIPPING = 2, ///< cut by the view's clipping planes
};

/// A named material template: the shader that instances of it are drawn
/// with and its default options. The device builds one program per template
/// (`MaterialManager::Build`).
class MaterialTemplate {
public:
    MaterialTemplate(std::string name, uint32_t options) : m_Name(std::move(name)), m_Options(options) {}

    const std::string& GetName() const { return m_Name; }
    uint32_t GetOptions() const { return m_Options; }

private:
    std::string m_Name;
    uint32_t m_Options;
};

} // namespace orvcore
