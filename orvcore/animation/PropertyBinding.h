#pragma once

#include <memory>
#include <string>

#include <orvkernel/device/GfxObject.h>

namespace orvcore {

class ShapeSceneNode;

/// Names the target of one track: the node an animation mixer drives and a
/// property path (the track's name), kept as given. The mixer resolves the
/// path when it plays (see `AnimationMixer`).
class PropertyBinding : public GfxObject {
public:
    PropertyBinding() = default;
    PropertyBinding(const std::shared_ptr<ShapeSceneNode>& root, const std::string& path);
    ~PropertyBinding() override;

    const std::string& GetPath() const { return m_Path; }
    void SetPath(const std::string& path) { m_Path = path; }
    const std::shared_ptr<ShapeSceneNode>& GetRootNode() const { return m_RootNode; }
    void SetRootNode(const std::shared_ptr<ShapeSceneNode>& root) { m_RootNode = root; }

    static PropertyBinding* Cast(GfxObject* object);
    static const PropertyBinding* Cast(const GfxObject* object);

private:
    std::string m_Path;
    std::shared_ptr<ShapeSceneNode> m_RootNode;
};

} // namespace orvcore
