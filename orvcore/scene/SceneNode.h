#pragma once

#include <cstdint>
#include <memory>

#include <glm/mat4x4.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/device/GfxObject.h>
#include <orvkernel/material/MaterialInstance.h>

namespace orvcore {

class RenderContext;
class SceneVisitor;

/// Base of every node of the scene graph.
///
/// A node has a local transform relative to its parent, a local box in its
/// own coordinates, and the world transform and world box that the last
/// `UpdateTransform` computed from them. Moving a node takes two calls:
/// `SetTransform`, then `RequstUpdate`, which marks the node and its
/// ancestors dirty so that the next world update reaches it.
///
/// Nodes are held by `std::shared_ptr`; the parent link is a raw pointer that
/// only groups set and that nobody clears automatically (see
/// `GroupSceneNode::RemoveNode`).
class SceneNode : public GfxObject {
public:
    SceneNode() = default;
    ~SceneNode() override;

    /// Deep copy as the concrete kind. The base returns an empty pointer.
    virtual std::shared_ptr<SceneNode> Clone() const;
    /// World = parentWorld * Transform, world box from the local box; marks
    /// the node clean.
    virtual void UpdateTransform(const glm::mat4& parentWorld);
    /// The local box transformed by `*matrix * Transform`, or by Transform
    /// alone when `matrix` is null (the box in the parent's coordinates).
    virtual AxisAlignedBox ComputeBoundingBox(const glm::mat4* matrix = nullptr) const;
    /// Double dispatch: calls exactly one `Visit` of the visitor with this node.
    virtual void Accept(SceneVisitor& visitor) = 0;
    /// Adds this node's drawables to a render context.
    virtual void CollectRenderables(RenderContext& context) const = 0;

    uint64_t GetUserId() const { return m_UserId; }
    void SetUserId(const uint64_t& id) { m_UserId = id; }

    const glm::mat4& GetTransform() const { return m_Transform; }
    void SetTransform(const glm::mat4& transform)
    {
        m_Transform = transform;
        m_ParentBoxValid = false;
        m_WorldCurrent = false;
    }
    const glm::mat4& GetWorldTransform() const { return m_WorldTransform; }

    const AxisAlignedBox& GetBoundingBox() const { return m_BoundingBox; }
    /// Sets the local box; the world box follows at the next update.
    void SetBoundingBox(const AxisAlignedBox& box)
    {
        m_BoundingBox = box;
        m_ParentBoxValid = false;
        m_WorldBoxValid = false;
        m_WorldCurrent = false;
    }
    const AxisAlignedBox& GetWorldBBox() const { return m_WorldBBox; }

    const bool& GetCastShadow() const { return m_CastShadow; }
    void SetCastShadow(const bool& value) { m_CastShadow = value; }
    const bool& GetPickable() const { return m_Pickable; }
    void SetPickable(const bool& value) { m_Pickable = value; }
    const bool& GetCulling() const { return m_Culling; }
    void SetCulling(const bool& value) { m_Culling = value; }
    const bool& GetVisible() const { return m_Visible; }
    void SetVisible(const bool& value) { m_Visible = value; }

    SceneNode* GetParent() const { return m_Parent; }
    void SetParent(SceneNode* parent)
    {
        m_Parent = parent;
        m_WorldCurrent = false;
    }

    uint32_t GetUpdateVersion() const { return m_UpdateVersion; }
    void SetUpdateVersion(const uint32_t& version) { m_UpdateVersion = version; }

    const std::shared_ptr<MaterialInstance>& GetOverrideFaceMaterial() const { return m_OverrideFaceMaterial; }
    void SetOverrideFaceMaterial(const std::shared_ptr<MaterialInstance>& m) { m_OverrideFaceMaterial = m; }
    const std::shared_ptr<MaterialInstance>& GetOverrideEdgeMaterial() const { return m_OverrideEdgeMaterial; }
    void SetOverrideEdgeMaterial(const std::shared_ptr<MaterialInstance>& m) { m_OverrideEdgeMaterial = m; }

    /// Marks this node and every ancestor dirty (one step up each counter).
    void RequstUpdate();
    /// True when this node and every ancestor are visible.
    bool IsVisiblePath() const;

    /// The node's id widened to the 64-bit key used by node tables.
    uint64_t GetId() const { return GetObjectId(); }

    /// Which shape objects collecting this node's drawables reads, for the
    /// walks that fetch them ahead (`PrefetchCollect`): the kinds that hold
    /// shapes set it; others are fetched as bare nodes.
    enum EnumCollectKind : uint8_t { COLLECT_NODE = 0, COLLECT_SHAPE = 1, COLLECT_PRIMITIVE = 2 };
    uint8_t GetCollectKind() const { return m_CollectKind; }

    static SceneNode* Cast(GfxObject* object);
    static const SceneNode* Cast(const GfxObject* object);

protected:
    SceneNode(const SceneNode&) = delete;
    SceneNode& operator=(const SceneNode&) = delete;

    /// Copies UserId, Transform, both boxes, WorldTransform, CastShadow and
    /// Visible. A clone therefore starts pickable, cullable, parentless, dirty
    /// and without override materials.
    void CopyBaseProperties(const SceneNode& other);
    void SetCollectKind(uint8_t kind) { m_CollectKind = kind; }

    /// For kinds whose world update differs from the base: stores the world
    /// matrix and box computed by the caller and marks the node clean.
    void SetWorld(const glm::mat4& world, const AxisAlignedBox& worldBox)
    {
        m_WorldTransform = world;
        m_WorldBBox = worldBox;
        m_WorldBoxValid = false;
        m_WorldCurrent = false;
        m_UpdateVersion = 0;
    }

private:
    // What every update reads, also of a child that it skips, sits at the
    // front, in the object's first cache line.
    SceneNode* m_Parent = nullptr;
    uint32_t m_UpdateVersion = 1;
    mutable bool m_ParentBoxValid = false;
    // Whether WorldBBox is BoundingBox by WorldTransform: an update that
    // lands on the same world matrix then keeps the box.
    bool m_WorldBoxValid = false;
    // Whether WorldTransform is the parent's world by Transform as of the
    // last update through the parent; cleared by anything that changes it.
    bool m_WorldCurrent = false;
    // Set by a group while it updates its children with the same world
    // matrix as last time: a clean child that is current may then skip.
    bool m_ParentWorldUnchanged = false;
    // The local box in the parent's coordinates (the box by Transform), kept
    // between updates: most nodes do not move while their groups do.
    mutable AxisAlignedBox m_ParentBox;
    bool m_CastShadow = true;
    bool m_Pickable = true;
    bool m_Culling = true;
    bool m_Visible = true;
    uint8_t m_CollectKind = COLLECT_NODE;
    uint64_t m_UserId = 0;
    glm::mat4 m_Transform{1.0f};
    AxisAlignedBox m_BoundingBox;
    glm::mat4 m_WorldTransform{1.0f};
    AxisAlignedBox m_WorldBBox;
    std::shared_ptr<MaterialInstance> m_OverrideFaceMaterial;
    std::shared_ptr<MaterialInstance> m_OverrideEdgeMaterial;

    friend class GroupSceneNode;
};

} // namespace orvcore
