#pragma once

#include <memory>

#include <orvcore/render/RenderContext.h>

namespace orvcore {

class RenderList;

/// Collects shadow casters into one list: triangle lists (type 4) whose
/// effective material (the item's override, else the primitive's own)
/// exists and is not transparent. Everything else is dropped silently.
class ShadowRenderContext : public RenderContext {
public:
    ShadowRenderContext(const std::shared_ptr<Camera>& camera, RenderList* list) : RenderContext(camera), m_List(list)
    {
    }

    void AddItem(RenderItem& item) override;
    /// Whether an item of this primitive and effective material casts.
    static bool Casts(const PrimitiveShape* primitive, const MaterialInstance* material);

    RenderList* GetList() const { return m_List; }

private:
    RenderList* m_List;
};

} // namespace orvcore
