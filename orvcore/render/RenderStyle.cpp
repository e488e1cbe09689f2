#include <orvcore/render/RenderStyle.h>

#include <orvkernel/material/LineDashedMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/PointsMaterial.h>

namespace orvcore {

namespace {

using L = EnumRenderListIndex;

std::shared_ptr<MaterialInstance> Edge(const char* name, const glm::vec3& color, uint8_t width)
{
    auto m = LineDashedMaterial::Create(name);
    m->SetColor(color);
    m->LineWidth = width;
    return m;
}

std::shared_ptr<MaterialInstance> PickPoint(const char* name, float size, const glm::vec3& color)
{
    auto m = PointsMaterial::Create(name);
    m->SetPointSize(size);
    m->OrderExempt = false;
    m->SetColor(color);
    return m;
}

std::shared_ptr<MaterialInstance> PickFace(const glm::vec3& color, float opacity)
{
    auto m = MeshPhongMaterial::Create("sys.pick.face");
    m->SetFaceSide(FACE_DOUBLE);
    m->SetColor(color);
    m->SetOpacity(opacity);
    m->BlendingMode = BLENDING_TRANSPARENT;
    m->SetFaceSide(FACE_DOUBLE);
    return m;
}

} // namespace

RenderStyle::RenderStyle() = default;
RenderStyle::~RenderStyle() = default;

void RenderStyle::InitializeForModel()
{
    m_Materials[L::Line] = Edge("sys.line", glm::vec3(0.0f), 1);

    auto point = PointsMaterial::Create("sys.point");
    point->SetPointSize(10.0f);
    point->SetColor(glm::vec3(1.0f, 0.9f, 0.9f));
    m_Materials[L::Point] = point;

    auto face = MeshPhongMaterial::Create("sys.opacity");
    face->SetShininess(50.0f);
    face->SetFaceSide(FACE_DOUBLE);
    face->SetColor(glm::vec3(220.0f, 230.0f, 240.0f) / 255.0f);
    m_Materials[L::Face] = face;
}

void RenderStyle::InitializeForSelection()
{
    const glm::vec3 blue = glm::vec3(24.0f, 65.0f, 248.0f) / 255.0f;
    m_Materials[L::Line] = Edge("sys.selection.edge", blue, 3);
    m_Materials[L::Point] = PickPoint("sys.selection.point", 8.0f, blue);
    m_Materials[L::TransparentFace] = PickFace(blue, 0.6f);
}

void RenderStyle::InitializeForHilight()
{
    const glm::vec3 dark = glm::vec3(25.0f, 38.0f, 93.0f) / 255.0f;
    m_Materials[L::Line] = Edge("sys.hilight.edge", dark, 3);
    m_Materials[L::Point] = PickPoint("sys.hilight.point", 7.0f, dark);
    m_Materials[L::TransparentFace] = PickFace(dark, 0.5f);
}

} // namespace orvcore
