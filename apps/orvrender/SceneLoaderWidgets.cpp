#include <orvrender/SceneLoader.h>

#include <string>

#include <orvkernel/device/RenderDevice.h>
#include <orvcore/render/ContactShadowRender.h>
#include <orvcore/render/CoordinateRenderer.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/widget/AxisWidget.h>
#include <orvcore/widget/MoveWidget.h>
#include <orvcore/widget/RotateWidget.h>
#include <orvcore/widget/ScaleWidget.h>
#include <orvcore/widget/ViewCube.h>
#include <orvrender/SceneEffects.h>

// The scene file's shadow and overlay, and the widget node kinds: axes,
// move, rotate and scale manipulators, a view cube.

namespace orvrender {

using namespace json;
using orvcore::SceneNode;

namespace {

// A kind name with, where the value is an object, its other settings.
std::string Kind(const Json& value, const std::string& path, const std::set<std::string>& keys)
{
    if (value.is_string())
        return String(value, path);
    ExpectObject(value, path);
    CheckKeys(value, path, keys);
    return String(Require(value, "type", path), Child(path, "type"));
}

// Three positive lengths: one number for all three axes, or [x, y, z].
glm::vec3 Lengths(const Json& value, const std::string& path)
{
    if (value.is_number())
        return glm::vec3(Length(value, path));
    const auto xyz = Numbers<3>(value, path);
    for (std::size_t i = 0; i < 3; ++i)
        CheckLength(xyz[i], Child(path, i));
    return glm::vec3(xyz[0], xyz[1], xyz[2]);
}

} // namespace

void SceneLoader::LoadShadow(const Json& shadow, const std::string& path)
{
    SceneEffects& effects = m_Info.effects;
    const std::string kind = Kind(shadow, path, {"type", "blur", "darkness"});
    const std::string kindPath = shadow.is_string() ? path : Child(path, "type");
    if (kind != "contact" && kind != "light" && kind != "none")
        Fail(kindPath, "expected \"contact\", \"light\" or \"none\", found \"" + kind + "\"");
    effects.shadow = kind == "none" ? "" : kind;
    if (!shadow.is_object())
        return;
    for (const char* key : {"blur", "darkness"}) {
        const Json* value = Find(shadow, key);
        if (!value)
            continue;
        if (kind != "contact")
            Fail(Child(path, key), std::string("only a contact shadow has a ") + key);
        const bool blur = std::string(key) == "blur";
        const float number = float(Bounded(*value, Child(path, key), 0.0, blur ? 64.0 : 1.0, false));
        (blur ? effects.blur : effects.darkness) = number;
    }
}

void SceneLoader::LoadOverlay(const Json& overlay, const std::string& path)
{
    SceneEffects& effects = m_Info.effects;
    const std::string kind = Kind(overlay, path, {"type", "corner"});
    const std::string kindPath = overlay.is_string() ? path : Child(path, "type");
    if (kind != "none" && kind != "axis" && kind != "cube")
        Fail(kindPath, "expected \"none\", \"axis\" or \"cube\", found \"" + kind + "\"");
    effects.overlay = kind;
    const Json* corner = overlay.is_object() ? Find(overlay, "corner") : nullptr;
    if (!corner)
        return;
    const std::string cornerPath = Child(path, "corner");
    const std::string name = String(*corner, cornerPath);
    // Corner 2 of the overlays (bottom left) keeps corner 1's offset and so
    // lies off the view: it is not offered.
    if (name == "top-right")
        effects.corner = 0;
    else if (name == "bottom-right")
        effects.corner = 1;
    else if (name == "top-left")
        effects.corner = 3;
    else
        Fail(cornerPath, "expected \"top-right\", \"bottom-right\" or \"top-left\", found \"" + name + "\"");
}

std::shared_ptr<SceneNode> SceneLoader::BuildWidget(const Json& node, const std::string& path, const std::string& type)
{
    std::shared_ptr<orvcore::CoordinateWidget> widget;
    if (type == "axes") {
        const Json* size = Find(node, "size");
        widget = orvcore::AxisWidget::Create(size ? Length(*size, Child(path, "size")) : 5.0f,
                                             Lengths(Require(node, "length", path), Child(path, "length")));
    } else if (type == "move") {
        widget = orvcore::MoveWidget::Create(Lengths(Require(node, "length", path), Child(path, "length")));
    } else if (type == "scale") {
        widget = orvcore::ScaleWidget::Create(Lengths(Require(node, "length", path), Child(path, "length")));
    } else if (type == "rotate") {
        widget = orvcore::RotateWidget::Create(Length(Require(node, "radius", path), Child(path, "radius")));
    } else if (type == "viewCube") {
        const Json* size = Find(node, "size");
        widget = orvcore::ViewCube::Create(size ? Length(*size, Child(path, "size")) : 5.0f);
    }
    if (!widget)
        Fail(path, "the widget could not be built");
    if (const Json* mark = Find(node, "mark")) {
        const std::string axis = String(*mark, Child(path, "mark"));
        if (axis != "x" && axis != "y" && axis != "z")
            Fail(Child(path, "mark"), "expected \"x\", \"y\" or \"z\", found \"" + axis + "\"");
        widget->ShowArrow(std::size_t(axis[0]));
    }
    return widget;
}

void ApplySceneEffects(const SceneEffects& effects, orvcore::RenderDevice& device, orvcore::Renderer& renderer)
{
    orvcore::RenderSettings& settings = device.GetSettings();
    settings.ContactShadow = effects.shadow == "contact";
    settings.Shadow = effects.shadow == "light";
    settings.ContactShadowBlur = effects.blur;
    renderer.Prepare();
    if (auto* contact = dynamic_cast<orvcore::ContactShadowRender*>(renderer.GetShadowRender()))
        contact->SetDarkness(effects.darkness);
    renderer.SetViewCondinateType(effects.overlay == "cube"   ? orvcore::Cube
                                  : effects.overlay == "axis" ? orvcore::Axis
                                                              : orvcore::NoWidget);
    for (orvcore::CoordinateRenderer* overlay : {renderer.GetViewAxis(), renderer.GetViewCube()})
        if (overlay)
            overlay->SetPosition(effects.corner);
}

} // namespace orvrender
