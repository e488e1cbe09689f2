#pragma once

#include <memory>
#include <string>

#include <orvkernel/material/MaterialInstance.h>

namespace orvcore {

/// Material of the "points" template: round points of a size in pixels.
/// Point items keep their collection order by default (`OrderExempt` set).
class PointsMaterial : public MaterialInstance {
public:
    static constexpr const char* kTemplate = "points";
    PointsMaterial() { OrderExempt = true; }
    explicit PointsMaterial(std::string name, std::string templateName = kTemplate)
        : MaterialInstance(std::move(name), std::move(templateName))
    {
        OrderExempt = true;
    }
    static std::shared_ptr<PointsMaterial> Create(const std::string& name);
    /// Sizes below 1 pixel (or not finite) are clamped to 1.
    void SetPointSize(float size) { SetPointSizeValue(size); }
    static PointsMaterial* Cast(MaterialInstance* material);
};

} // namespace orvcore
