#pragma once

#include <glm/mat4x4.hpp>

#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/shape/PrimitiveShape.h>

namespace orvcore {

/// One drawable of one frame: a kernel primitive, the material its node
/// chose for it (null: the primitive's own), its world matrix and a depth
/// key for sorting. Refers to scene data by raw pointer and lives no longer
/// than the frame.
///
/// The constructor scales the depth key by the primitive's own material:
/// unchanged without a material or when its order-exempt flag is set, x100
/// for a transparent material, x0.01 otherwise. This coarse scaling keeps
/// transparent items apart from the rest in sort order.
class RenderItem {
public:
    RenderItem() = default;
    RenderItem(PrimitiveShape* primitive, MaterialInstance* overrideMaterial, const glm::mat4& transform,
               float distance);

    /// The depth key as the constructor stores it.
    static float ScaleDistance(const MaterialInstance* ownMaterial, float distance);

    PrimitiveShape* GetPrimitive() const { return m_Primitive; }
    void SetPrimitive(PrimitiveShape* primitive) { m_Primitive = primitive; }
    MaterialInstance* GetOverrideMaterial() const { return m_OverrideMaterial; }
    void SetOverrideMaterial(MaterialInstance* material) { m_OverrideMaterial = material; }
    /// The primitive's own material (null without primitive).
    MaterialInstance* GetMaterial() const;
    const glm::mat4& GetTransform() const { return m_Transform; }
    void SetTransform(const glm::mat4& transform) { m_Transform = transform; }
    float GetDistance() const { return m_Distance; }
    void SetDistance(float distance) { m_Distance = distance; }
    /// The primitive's type; `PRIMITIVE_UNDEFINED` without primitive.
    uint32_t GetType() const;
    BufferGeometry* GetGeometry() const;

private:
    PrimitiveShape* m_Primitive = nullptr;
    MaterialInstance* m_OverrideMaterial = nullptr;
    glm::mat4 m_Transform{1.0f};
    float m_Distance = 0.0f;
};

} // namespace orvcore
