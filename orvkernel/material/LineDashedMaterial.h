#pragma once

#include <memory>
#include <string>

#include <orvkernel/material/MaterialInstance.h>

namespace orvcore {

/// Material of the "dashed" template: lines of a width in pixels, solid
/// unless a dash and a gap length (in line-distance units) are set.
class LineDashedMaterial : public MaterialInstance {
public:
    static constexpr const char* kTemplate = "dashed";
    using MaterialInstance::MaterialInstance;
    static std::shared_ptr<LineDashedMaterial> Create(const std::string& name);

    float GetDashSize() const { return m_DashSize; }
    float GetGapSize() const { return m_GapSize; }
    /// A gap of 0 draws solid lines. Negative values (and NaN) become 0; a
    /// change raises the update counter.
    void SetDash(float dashSize, float gapSize);
    static LineDashedMaterial* Cast(MaterialInstance* material);

private:
    float m_DashSize = 1.0f;
    float m_GapSize = 0.0f;
};

} // namespace orvcore
