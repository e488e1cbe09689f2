#include <orvcore/widget/PlanarGridWidget.h>

#include <orvcommon/Logger.h>
#include <orvcommon/TypedArray.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/MaterialTemplate.h>
#include <orvkernel/shape/PrimitiveShape.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>

namespace orvcore {

namespace {

// Minor lines between two neighbouring major lines.
constexpr uint32_t kMinorPerCell = 4;

std::shared_ptr<BasicMaterial> MakeLineMaterial(const glm::vec3& color)
{
    auto material = BasicMaterial::Create("sys.grid.line");
    if (material) {
        material->SetColor(color);
        // The grid is a reference, not model geometry: clipping planes
        // must not cut it.
        material->ClearTemplateOption(TEMPLATE_OPTION_CLIPPING);
        // Drawn in its plane and just behind it, so that faces lying in the
        // grid's plane (a base plate on the floor) cover its lines.
        material->SetUniform("linesInPlane", 1);
    }
    return material;
}

void AddSegment(std::vector<float>& buffer, const glm::vec3& a, const glm::vec3& b)
{
    buffer.insert(buffer.end(), {a.x, a.y, a.z, b.x, b.y, b.z});
}

bool IsValidCellSize(float size) { return std::isfinite(size) && size > 0.0f; }

} // namespace

PlanarGridWidget::PlanarGridWidget(float cellSize, unsigned int cellCountX, unsigned int cellCountY)
    : CoordinateGridWidget(std::make_shared<CompoundShape>()),
      m_CellSize(cellSize),
      m_CellCountX(cellCountX),
      m_CellCountY(cellCountY)
{
    Update();
}

PlanarGridWidget::PlanarGridWidget(const std::shared_ptr<CompoundShape>& shape) : CoordinateGridWidget(shape) {}

void PlanarGridWidget::Update()
{
    const auto& shape = GetShape();
    if (!shape) {
        Logger::Instance().Waring("CompoundShape is null!");
        return;
    }
    shape->Clear();

    const uint32_t hx = std::max(m_CellCountX / 2, 1u);
    const uint32_t hy = std::max(m_CellCountY / 2, 1u);
    if (!IsValidCellSize(m_CellSize)) {
        Logger::Instance().Waring("Grid cell size is invalid!");
        RefreshBoundingBox();
        return;
    }
    if (hx > kMaxHalfCount || hy > kMaxHalfCount) {
        Logger::Instance().Waring("Grid cell count is too large!");
        RefreshBoundingBox();
        return;
    }
    const float cell = m_CellSize;
    const float ex = static_cast<float>(hx) * cell;
    const float ey = static_cast<float>(hy) * cell;
    if (!std::isfinite(ex) || !std::isfinite(ey)) {
        Logger::Instance().Waring("Grid cell size is invalid!");
        RefreshBoundingBox();
        return;
    }

    // Lines along Y run from +ey to -ey, lines along X from -ex to +ex.
    std::vector<float> major;
    major.reserve((2 + 2 * std::size_t(hx) + 2 * std::size_t(hy)) * 6);
    AddSegment(major, {0.0f, ey, 0.0f}, {0.0f, -ey, 0.0f});
    for (uint32_t i = 1; i <= hx; ++i) {
        const float x = static_cast<float>(i) * cell;
        AddSegment(major, {x, ey, 0.0f}, {x, -ey, 0.0f});
        AddSegment(major, {-x, ey, 0.0f}, {-x, -ey, 0.0f});
    }
    AddSegment(major, {-ex, 0.0f, 0.0f}, {ex, 0.0f, 0.0f});
    for (uint32_t j = 1; j <= hy; ++j) {
        const float y = static_cast<float>(j) * cell;
        AddSegment(major, {-ex, y, 0.0f}, {ex, y, 0.0f});
        AddSegment(major, {-ex, -y, 0.0f}, {ex, -y, 0.0f});
    }

    const float step = cell / static_cast<float>(kMinorPerCell + 1);
    std::vector<float> minor;
    minor.reserve((std::size_t(hx) + std::size_t(hy)) * 2 * kMinorPerCell * 6);
    for (uint32_t i = 1; i <= hx; ++i) {
        for (uint32_t k = 1; k <= kMinorPerCell; ++k) {
            const float x = static_cast<float>(i - 1) * cell + static_cast<float>(k) * step;
            AddSegment(minor, {x, ey, 0.0f}, {x, -ey, 0.0f});
            AddSegment(minor, {-x, ey, 0.0f}, {-x, -ey, 0.0f});
        }
    }
    for (uint32_t j = 1; j <= hy; ++j) {
        for (uint32_t k = 1; k <= kMinorPerCell; ++k) {
            const float y = static_cast<float>(j - 1) * cell + static_cast<float>(k) * step;
            AddSegment(minor, {-ex, y, 0.0f}, {ex, y, 0.0f});
            AddSegment(minor, {-ex, -y, 0.0f}, {ex, -y, 0.0f});
        }
    }

    shape->AddPrimitive(std::make_shared<PrimitiveShape>(
        GeometryBuilder::CreateLines(Float32Array(major.data(), major.size())), PrimaryColor()));
    shape->AddPrimitive(std::make_shared<PrimitiveShape>(
        GeometryBuilder::CreateLines(Float32Array(minor.data(), minor.size())), SecondaryColor()));
    RefreshBoundingBox();
}

void PlanarGridWidget::FitToBoundingBox(const AxisAlignedBox& box)
{
    if (box.isInfinite()) {
        Logger::Instance().Waring("Bounding box is not finite!");
        return;
    }
    if (!IsValidCellSize(m_CellSize)) {
        Logger::Instance().Waring("Grid cell size is invalid!");
        return;
    }
    const glm::vec3 size = box.getSize();
    const glm::vec3 center = box.getCenter();
    if (!std::isfinite(center.x) || !std::isfinite(center.y)) {
        Logger::Instance().Waring("Bounding box is not finite!");
        return;
    }
    // 20 % margin, rounded to the nearest whole count.
    const double countX = size.x * 1.2 / m_CellSize + 0.5;
    const double countY = size.y * 1.2 / m_CellSize + 0.5;
    constexpr double kCountLimit = 4294967296.0; // 2^32
    if (!(countX >= 0.0 && countX < kCountLimit && countY >= 0.0 && countY < kCountLimit)) {
        Logger::Instance().Waring("Grid cell count is too large!");
        return;
    }
    m_CellCountX = static_cast<uint32_t>(countX);
    m_CellCountY = static_cast<uint32_t>(countY);

    SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(std::trunc(center.x), std::trunc(center.y), 0.0f)));
    Update();
}

std::shared_ptr<SceneNode> PlanarGridWidget::Clone() const
{
    auto copy = std::make_shared<PlanarGridWidget>(GetShape());
    copy->CopyBaseProperties(*this);
    copy->m_CellSize = m_CellSize;
    copy->m_CellCountX = m_CellCountX;
    copy->m_CellCountY = m_CellCountY;
    return copy;
}

const std::shared_ptr<BasicMaterial>& PlanarGridWidget::PrimaryColor()
{
    static const std::shared_ptr<BasicMaterial> material = MakeLineMaterial(glm::vec3(0.85f));
    return material;
}

const std::shared_ptr<BasicMaterial>& PlanarGridWidget::SecondaryColor()
{
    static const std::shared_ptr<BasicMaterial> material = MakeLineMaterial(glm::vec3(0.7f));
    return material;
}

void PlanarGridWidget::RefreshBoundingBox()
{
    const auto& shape = GetShape();
    SetBoundingBox(shape ? shape->GetBoundingBox() : AxisAlignedBox());
    RequstUpdate();
}

PlanarGridWidget* PlanarGridWidget::Cast(SceneNode* node) { return dynamic_cast<PlanarGridWidget*>(node); }
const PlanarGridWidget* PlanarGridWidget::Cast(const SceneNode* node)
{
    return dynamic_cast<const PlanarGridWidget*>(node);
}
PlanarGridWidget* PlanarGridWidget::Cast(CoordinateGridWidget* node) { return dynamic_cast<PlanarGridWidget*>(node); }
const PlanarGridWidget* PlanarGridWidget::Cast(const CoordinateGridWidget* node)
{
    return dynamic_cast<const PlanarGridWidget*>(node);
}

} // namespace orvcore
