#include <orvcore/widget/ViewCube.h>

#include <algorithm>
#include <cmath>
#include <string>

#include <glm/gtc/matrix_transform.hpp>

#include <orvcommon/Logger.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/text/FontManager.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/TextSceneNode.h>

namespace orvcore {

namespace {

// Labels carry their face element's identifier plus this as their user id.
constexpr uint64_t kLabelId = 1000;

struct Face {
    glm::ivec3 normal;
    glm::vec3 right;
    glm::vec3 up;
    const wchar_t* text;
};

// Each face's label reads upright in the face's own standard view.
const Face kFaces[6] = {
    {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}, L"FRONT"}, {{0, 1, 0}, {-1, 0, 0}, {0, 0, 1}, L"BACK"},
    {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, L"RIGHT"},  {{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}, L"LEFT"},
    {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}, L"TOP"},    {{0, 0, -1}, {1, 0, 0}, {0, -1, 0}, L"BOTTOM"},
};

struct Surface {
    std::vector<float> positions;
    std::vector<float> normals;
};

void AddQuad(Surface& surface, const glm::vec3 corners[4], const glm::vec3& normal)
{
    for (int k : {0, 1, 2, 0, 2, 3}) {
        surface.positions.insert(surface.positions.end(), {corners[k].x, corners[k].y, corners[k].z});
        surface.normals.insert(surface.normals.end(), {normal.x, normal.y, normal.z});
    }
}

// The text of a face as glyph triangles centred on the face, fitted into
// its middle square.
std::shared_ptr<TextSceneNode> MakeLabel(const Face& face, float size, const std::shared_ptr<MaterialInstance>& ink)
{
    auto glyphs = FontManager::Instance().CreateMesh(face.text);
    if (!glyphs || !glyphs->GetBoundingBox().isFinite())
        return nullptr;
    const AxisAlignedBox& box = glyphs->GetBoundingBox();
    const glm::vec3 extent = box.getSize();
    const float scale = std::min(2.6f * size / extent.y, 10.0f * size / extent.x);
    const float h = ViewCube::kCubeUnits * size * 0.5f;
    glm::mat4 frame(1.0f);
    frame[0] = glm::vec4(face.right, 0.0f);
    frame[1] = glm::vec4(face.up, 0.0f);
    frame[2] = glm::vec4(glm::vec3(face.normal), 0.0f);
    // Just off the face, so that the face never covers it.
    frame[3] = glm::vec4(glm::vec3(face.normal) * (h + 0.05f * size), 1.0f);
    auto label = std::make_shared<TextSceneNode>(glyphs, ink, 2.6f * size, false);
    label->SetTransform(frame * glm::scale(glm::mat4(1.0f), glm::vec3(scale, scale, 1.0f)) *
                        glm::translate(glm::mat4(1.0f), -box.getCenter()));
    label->SetPickable(false);
    label->SetUserId(kLabelId + ViewCube::GetElementId(face.normal));
    return label;
}

} // namespace

std::shared_ptr<ViewCube> ViewCube::Create(float size)
{
    if (!IsWidgetSize(size))
        return nullptr;
    const float h = kCubeUnits * size * 0.5f;
    const float b = kBandUnits * size;
    // The three stretches of a cube side: band, middle, band.
    const float from[3] = {-h, -h + b, h - b};
    const float to[3] = {-h + b, h - b, h};

    Surface surfaces[28];
    for (int axis = 0; axis < 3; ++axis) {
        const int u = (axis + 1) % 3;
        const int v = (axis + 2) % 3;
        for (int sign : {-1, 1}) {
            glm::vec3 normal(0.0f);
            normal[axis] = float(sign);
            for (int iu = 0; iu < 3; ++iu) {
                for (int iv = 0; iv < 3; ++iv) {
                    glm::ivec3 direction(0);
                    direction[axis] = sign;
                    direction[u] = iu - 1;
                    direction[v] = iv - 1;
                    glm::vec3 corners[4];
                    const float us[4] = {from[iu], to[iu], to[iu], from[iu]};
                    const float vs[4] = {from[iv], from[iv], to[iv], to[iv]};
                    for (int k = 0; k < 4; ++k) {
                        // Counter-clockwise seen from outside.
                        const int c = sign > 0 ? k : 3 - k;
                        corners[k] = normal * h;
                        corners[k][u] = us[c];
                        corners[k][v] = vs[c];
                    }
                    AddQuad(surfaces[GetElementId(direction)], corners, normal);
                }
            }
        }
    }

    auto paint = MeshPhongMaterial::Create("sys.viewcube.face");
    paint->SetColor(glm::vec3(0.93f, 0.95f, 0.98f));
    paint->SetShininess(10.0f);
    auto ink = BasicMaterial::Create("sys.viewcube.label");
    ink->SetColor(glm::vec3(0.16f, 0.2f, 0.28f));
    auto outline = BasicMaterial::Create("sys.viewcube.edge");
    outline->SetColor(glm::vec3(0.35f, 0.4f, 0.47f));

    auto group = std::make_shared<GroupSceneNode>();
    for (unsigned int id : GetElementIds()) {
        Surface& s = surfaces[id];
        auto element = std::make_shared<PrimitiveSceneNode>(
            GeometryBuilder::CreateGeometry(Float32Array(s.positions.data(), s.positions.size()),
                                            Float32Array(s.normals.data(), s.normals.size())),
            paint);
        element->SetUserId(id);
        group->AddNode(element);
    }
    for (const Face& face : kFaces) {
        if (auto label = MakeLabel(face, size, ink))
            group->AddNode(label);
    }
    auto edges = std::make_shared<PrimitiveSceneNode>(GeometryBuilder::CreateBoxEdges(glm::vec3(2.0f * h)), outline);
    edges->SetPickable(false);
    group->AddNode(edges);

    auto cube = std::make_shared<ViewCube>(group, size);
    cube->AdoptGroupBox();
    return cube;
}

ViewCube::ViewCube(const std::shared_ptr<GroupSceneNode>& nodes, float size)
    : CoordinateWidget(nodes, kCubeUnits * size * 0.5f * std::sqrt(3.0f)), m_Size(size)
{
    for (const auto& entry : GetNodes()->GetChildren()) {
        PrimitiveSceneNode* node = PrimitiveSceneNode::Cast(entry.second.get());
        if (!node)
            continue;
        const uint64_t id = node->GetUserId();
        if (GetElementDirection(unsigned(id)))
            m_Elements[id] = node;
        else if (id > kLabelId && GetElementDirection(unsigned(id - kLabelId)))
            m_Labels[id - kLabelId] = node;
    }
    m_HoverMaterial = BasicMaterial::Create("sys.viewcube.hover");
    m_HoverMaterial->SetColor(glm::vec3(0.25f, 0.55f, 0.95f));
    m_HoverMaterial->SetOpacity(0.55f);
    m_HoverMaterial->BlendingMode = BLENDING_NORMAL;
    m_HoverMaterial->RequestUpdate();
}

unsigned int ViewCube::GetElementId(const glm::ivec3& d)
{
    if (d == glm::ivec3(0) || glm::any(glm::lessThan(d, glm::ivec3(-1))) || glm::any(glm::greaterThan(d, glm::ivec3(1))))
        return 0;
    return unsigned(1 + (d.x + 1) + 3 * (d.y + 1) + 9 * (d.z + 1));
}

std::optional<glm::ivec3> ViewCube::GetElementDirection(unsigned int id)
{
    if (id < 1 || id > 27 || id == 14)
        return std::nullopt;
    const int n = int(id) - 1;
    return glm::ivec3(n % 3 - 1, (n / 3) % 3 - 1, n / 9 - 1);
}

EnumStandardView ViewCube::GetStandardView(unsigned int id)
{
    // Built once: for every element the view whose eye lies towards it.
    static const std::array<EnumStandardView, 28> views = [] {
        std::array<EnumStandardView, 28> table{};
        for (unsigned int element : GetElementIds()) {
            const glm::vec3 toEye = glm::normalize(glm::vec3(*GetElementDirection(element)));
            for (uint32_t view = 1; view < STANDARD_VIEW_COUNT; ++view) {
                glm::vec3 direction, up;
                if (CameraOperator::GetStandardViewDirection(EnumStandardView(view), direction, up) &&
                    glm::dot(direction, -toEye) > 0.9999f)
                    table[element] = EnumStandardView(view);
            }
        }
        return table;
    }();
    return GetElementDirection(id) ? views[id] : STANDARD_VIEW_NONE;
}

const std::array<unsigned int, ViewCube::kElementCount>& ViewCube::GetElementIds()
{
    static const std::array<unsigned int, kElementCount> ids = [] {
        std::array<unsigned int, kElementCount> list{};
        unsigned int count = 0;
        for (unsigned int id = 1; id <= 27; ++id)
            if (id != 14)
                list[count++] = id;
        return list;
    }();
    return ids;
}

PrimitiveSceneNode* ViewCube::GetElementNode(unsigned int id) const
{
    return GetElementDirection(id) ? m_Elements[id] : nullptr;
}

PrimitiveSceneNode* ViewCube::GetLabel(unsigned int id) const
{
    return GetElementDirection(id) ? m_Labels[id] : nullptr;
}

void ViewCube::SetHoverElement(unsigned int id)
{
    if (id != 0 && !GetElementDirection(id)) {
        Logger::Instance().Waring("View cube element is invalid!");
        id = 0;
    }
    m_Hover = id;
}

std::shared_ptr<SceneNode> ViewCube::Clone() const { return CloneViewCube(); }

std::shared_ptr<ViewCube> ViewCube::CloneViewCube() const
{
    auto copy = Create(m_Size);
    if (copy)
        copy->CopyBaseProperties(*this);
    return copy;
}

ViewCube* ViewCube::Cast(SceneNode* node) { return dynamic_cast<ViewCube*>(node); }
const ViewCube* ViewCube::Cast(const SceneNode* node) { return dynamic_cast<const ViewCube*>(node); }
ViewCube* ViewCube::Cast(CoordinateWidget* node) { return dynamic_cast<ViewCube*>(node); }
const ViewCube* ViewCube::Cast(const CoordinateWidget* node) { return dynamic_cast<const ViewCube*>(node); }

} // namespace orvcore
