#include <orvcore/animation/PropertyBinding.h>

#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

PropertyBinding::PropertyBinding(const std::shared_ptr<ShapeSceneNode>& root, const std::string& path)
    : m_Path(path), m_RootNode(root)
{
}

PropertyBinding::~PropertyBinding() = default;

PropertyBinding* PropertyBinding::Cast(GfxObject* object) { return dynamic_cast<PropertyBinding*>(object); }
const PropertyBinding* PropertyBinding::Cast(const GfxObject* object)
{
    return dynamic_cast<const PropertyBinding*>(object);
}

} // namespace orvcore
