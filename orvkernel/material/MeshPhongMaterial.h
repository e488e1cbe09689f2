#pragma once

#include <memory>
#include <string>

#include <orvkernel/material/MaterialInstance.h>

namespace orvcore {

/// Lit material of the "phong" template: shaded by the directional lights,
/// with a shininess exponent.
class MeshPhongMaterial : public MaterialInstance {
public:
    static constexpr const char* kTemplate = "phong";
    using MaterialInstance::MaterialInstance;
    static std::shared_ptr<MeshPhongMaterial> Create(const std::string& name);
    /// Negative values are clamped to 0.
    void SetShininess(float shininess) { SetShininessValue(shininess); }
    static MeshPhongMaterial* Cast(MaterialInstance* material);
};

} // namespace orvcore
