#pragma once

#include <cstdint>
#include <memory>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/shape/CompoundShape.h>
#include <orvcore/widget/CoordinateGridWidget.h>

namespace orvcore {

/// A square-celled reference grid in the node's XY plane, centred on its
/// origin: a major line every cell, four minor lines between neighbouring
/// major lines, and the two axes through the centre.
///
/// The grid spans `CellCountX / 2` cells on each side of the Y axis and
/// `CellCountY / 2` on each side of the X axis (at least one). The compound
/// shape holds two members: the major lines and axes (`PrimaryColor`), then
/// the minor lines (`SecondaryColor`).
class PlanarGridWidget : public CoordinateGridWidget {
public:
    /// Half counts above this are refused by `Update` (the grid would need
    /// millions of vertices).
    static constexpr uint32_t kMaxHalfCount = 1u << 16;

    /// A grid on a new compound shape, built at once.
    PlanarGridWidget(float cellSize, unsigned int cellCountX, unsigned int cellCountY);
    /// Wraps an existing shape without building lines. The cell fields keep
    /// their defaults (size 1, ten cells each way) until set.
    explicit PlanarGridWidget(const std::shared_ptr<CompoundShape>& shape);

    float GetCellSize() const { return m_CellSize; }
    /// Stores the value only; call `Update` to rebuild.
    void SetCellSize(float size) { m_CellSize = size; }
    unsigned int GetCellCountX() const { return m_CellCountX; }
    void SetCellCountX(unsigned int count) { m_CellCountX = count; }
    unsigned int GetCellCountY() const { return m_CellCountY; }
    void SetCellCountY(unsigned int count) { m_CellCountY = count; }

    /// Rebuilds the lines from the cell fields, copies the shape's box into
    /// the node and requests an update. A cell size that is not a positive
    /// finite number or a half count above `kMaxHalfCount` leaves the shape
    /// empty with a warning.
    void Update();
    /// Counts cover the box's size plus 20 % (rounded to whole cells); the
    /// node moves to the box centre truncated toward zero to whole units,
    /// at z = 0; then `Update`. An infinite box, an invalid cell size or
    /// counts that do not fit are refused with a warning and change nothing.
    void FitToBoundingBox(const AxisAlignedBox& box) override;
    /// A new grid on the same compound shape (shared, not copied) with this
    /// grid's base properties and cell fields.
    std::shared_ptr<SceneNode> Clone() const override;

    /// Material of the axes and major lines, shared by every grid.
    static const std::shared_ptr<BasicMaterial>& PrimaryColor();
    /// Material of the minor lines, shared by every grid.
    static const std::shared_ptr<BasicMaterial>& SecondaryColor();

    static PlanarGridWidget* Cast(SceneNode* node);
    static const PlanarGridWidget* Cast(const SceneNode* node);
    static PlanarGridWidget* Cast(CoordinateGridWidget* node);
    static const PlanarGridWidget* Cast(const CoordinateGridWidget* node);

private:
    void RefreshBoundingBox();

    float m_CellSize = 1.0f;
    uint32_t m_CellCountX = 10;
    uint32_t m_CellCountY = 10;
};

} // namespace orvcore
