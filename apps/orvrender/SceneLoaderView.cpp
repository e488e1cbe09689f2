#include <orvrender/SceneLoader.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>

#include <glm/geometric.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/search/EnumShapeFilter.h>
#include <orvkernel/texture/ImageTexture2D.h>
#include <orvkernel/texture/ImageTextureCube.h>
#include <orvcore/render/ColorBackground.h>
#include <orvcore/render/ImageBackground.h>
#include <orvcore/render/SkyboxBackground.h>
#include <orvcore/widget/PlanarGridWidget.h>

// The view settings of a scene file: background, display filter, grid and
// camera.

namespace orvrender {

using namespace json;

namespace {
// The part of the view's width and height left free on each side of a
// fitted model.
constexpr float kFitMargin = 0.04f;
} // namespace

void SceneLoader::LoadBackground(const Json& background, const std::string& path)
{
    ExpectObject(background, path);
    CheckKeys(background, path, {"color", "image", "skybox"});
    if (background.size() != 1)
        Fail(path, "expected exactly one of \"color\", \"image\" or \"skybox\"");
    if (const Json* color = Find(background, "color")) {
        m_Manager.SetBackground(
            std::make_shared<orvcore::ColorBackground>(glm::vec4(Color(*color, Child(path, "color")), 1.0f)));
    } else if (const Json* image = Find(background, "image")) {
        const std::string imagePath = Child(path, "image");
        const std::string file = Resolve(String(*image, imagePath));
        std::error_code code;
        if (!std::filesystem::is_regular_file(file, code))
            Fail(imagePath, "image file not found: " + file);
        auto texture = std::make_shared<orvcore::ImageTexture2D>();
        texture->LoadAsync(file);
        m_Manager.SetBackground(std::make_shared<orvcore::ImageBackground>(texture));
    } else {
        const std::string skyPath = Child(path, "skybox");
        const std::string folder = Resolve(String(*Find(background, "skybox"), skyPath));
        static const char* const faces[6] = {"posx", "negx", "negy", "posy", "posz", "negz"};
        std::array<std::string, 6> files;
        for (std::size_t i = 0; i < 6; ++i) {
            files[i] = (std::filesystem::path(folder) / ("EnvMap_" + std::string(faces[i]) + ".jpg")).string();
            std::error_code code;
            if (!std::filesystem::is_regular_file(files[i], code))
                Fail(skyPath, "sky-box image not found: " + files[i]);
        }
        auto texture = std::make_shared<orvcore::ImageTextureCube>();
        texture->LoadAsync(files);
        m_Manager.SetBackground(std::make_shared<orvcore::SkyboxBackground>(texture));
    }
}

void SceneLoader::LoadDisplayFilter(const Json& filter, const std::string& path)
{
    ExpectArray(filter, path);
    uint32_t bits = 0;
    for (std::size_t i = 0; i < filter.size(); ++i) {
        const std::string kind = String(filter[i], Child(path, i));
        if (kind == "points")
            bits |= orvcore::SHAPE_FILTER_VERTEX;
        else if (kind == "lines")
            bits |= orvcore::SHAPE_FILTER_EDGE;
        else if (kind == "faces")
            bits |= orvcore::SHAPE_FILTER_FACE;
        else
            Fail(Child(path, i), "expected \"points\", \"lines\" or \"faces\", found \"" + kind + "\"");
    }
    m_Manager.SetDisplayFilter(bits);
}

void SceneLoader::LoadGrid(const Json& grid, const std::string& path)
{
    ExpectObject(grid, path);
    CheckKeys(grid, path, {"visible", "cellSize", "fit"});
    const auto& widget = m_Manager.GetCoodinateGrid();
    if (!widget)
        Fail(path, "the view has no grid");
    auto planar = orvcore::PlanarGridWidget::Cast(widget.get());
    if (const Json* cellSize = Find(grid, "cellSize")) {
        const float size = Length(*cellSize, Child(path, "cellSize"));
        if (!planar)
            Fail(Child(path, "cellSize"), "the view's grid has no cell size");
        planar->SetCellSize(size);
        planar->Update();
    }
    widget->SetVisible(Flag(grid, "visible", path, true));
    widget->RequstUpdate();
    if (Flag(grid, "fit", path, false)) {
        const orvcore::AxisAlignedBox& box = m_Manager.GetSceneBBox();
        if (box.isFinite())
            widget->FitToBoundingBox(box);
    }
    m_Manager.UpdateWorld();
}

void SceneLoader::LoadCamera(const Json& camera, const std::string& path)
{
    ExpectObject(camera, path);
    CheckKeys(camera, path, {"projection", "eye", "target", "up", "fit"});
    auto& view = m_Manager.GetCamera();
    uint32_t projection = orvcore::Camera::PROJECTION_PERSPECTIVE;
    if (const Json* value = Find(camera, "projection")) {
        const std::string kind = String(*value, Child(path, "projection"));
        if (kind == "orthographic")
            projection = orvcore::Camera::PROJECTION_ORTHOGRAPHIC;
        else if (kind != "perspective")
            Fail(Child(path, "projection"),
                 "expected \"perspective\" or \"orthographic\", found \"" + kind + "\"");
    }
    const Json* eye = Find(camera, "eye");
    const Json* target = Find(camera, "target");
    const Json* up = Find(camera, "up");
    const Json* fit = Find(camera, "fit");
    if ((eye || target || up) && fit)
        Fail(Child(path, "fit"), "use either \"fit\" or eye/target/up, not both");
    if (target && !eye)
        Fail(Child(path, "eye"), "required property is missing");
    if (up && !eye)
        Fail(Child(path, "eye"), "required property is missing");
    if (!view)
        return;
    view->SetProjectionType(projection);
    if (eye) {
        const glm::vec3 from = Vec3(*eye, Child(path, "eye"));
        const glm::vec3 to = Vec3(Require(camera, "target", path), Child(path, "target"));
        const glm::vec3 upward = up ? Vec3(*up, Child(path, "up")) : glm::vec3(0.0f, 0.0f, 1.0f);
        if (glm::length(from - to) < 1e-12f)
            Fail(Child(path, "target"), "the eye and the target must differ");
        if (glm::length(glm::cross(to - from, upward)) < 1e-12f)
            Fail(Child(path, "up"), "up must not be zero or parallel to the view direction");
        view->LookAt(from, to, upward);
        return;
    }
    orvcore::EnumStandardView standard = orvcore::STANDARD_VIEW_ISOMETRIC;
    if (fit) {
        const std::string name = String(*fit, Child(path, "fit"));
        if (!ParseView(name, standard))
            Fail(Child(path, "fit"), "unknown standard view \"" + name + "\"");
    }
    // The model's own box is framed tightly; the grid is not framed, but the
    // clip range covers it so that it is not cut.
    const orvcore::AxisAlignedBox& box = m_Manager.GetSceneBBox();
    glm::vec3 direction, viewUp;
    if (box.isFinite() && orvcore::CameraOperator::GetStandardViewDirection(standard, direction, viewUp)) {
        view->LookAt(box.getCenter() - direction * std::max(glm::length(box.getSize()), 1.0f), box.getCenter(),
                     viewUp);
        orvcore::CameraOperator::FitToBox(*view, box, kFitMargin);
        orvcore::CameraOperator::EncloseInClipRange(*view, m_Manager.GetWorldBBox());
    }
}

} // namespace orvrender
