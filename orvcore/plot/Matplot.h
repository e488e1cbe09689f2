#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <glm/vec3.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/plot/ColorLookupTable.h>
#include <orvkernel/plot/ColorMapKeyword.h>
#include <orvcore/plot/PlotCurveFunctor.h>
#include <orvcore/plot/PlotRange.h>
#include <orvcore/plot/PlotSurfaceFunctor.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

namespace orvcore {

/// Sampled functions as scene nodes: curves as line strips, surfaces as
/// meshes coloured by height through a colour map, optionally with their
/// grid lines. Add curves and surfaces, then `Build` one group holding them
/// all. Every curve and surface widens the data box.
///
/// Copies share the curve nodes, surface geometries, material and table.
class Matplot {
public:
    explicit Matplot(const std::string& title);

    const std::string& GetTitle() const { return m_Title; }
    void SetTitle(const std::string& title) { m_Title = title; }
    /// The surfaces' material ("vertex-mesh-material"), null until `Build`.
    const std::shared_ptr<MaterialInstance>& GetMaterial() const { return m_Material; }
    const std::shared_ptr<ColorLookupTable>& GetColorTable() const { return m_ColorTable; }
    /// Surface geometry i (unchecked).
    const std::shared_ptr<BufferGeometry>& GetSurface(unsigned int i) const { return m_Surfaces[i]; }
    /// Grid lines of surface i, empty when it was added without (unchecked).
    const std::shared_ptr<BufferGeometry>& GetGridLines(unsigned int i) const { return m_GridLines[i]; }
    std::size_t GetCurveCount() const { return m_Curves.size(); }
    const std::shared_ptr<PrimitiveSceneNode>& GetCurve(unsigned int i) const { return m_Curves[i]; }
    std::size_t GetSurfaceCount() const { return m_Surfaces.size(); }
    const AxisAlignedBox& GetBoundingBox() const { return m_Box; }

    /// Grid lines drawn on every `stride`-th row and column (and the last)
    /// of surfaces added from now on; 1 (the default) draws every one. A
    /// dense surface reads better with a coarser grid. 0 logs "Grid line
    /// stride must be positive!" and is ignored.
    void SetGridLineStride(uint32_t stride);
    uint32_t GetGridLineStride() const { return m_GridLineStride; }
    /// The grid lines' material ("sys.plot.grid", dark grey), made on first
    /// use; callers may recolour it.
    const std::shared_ptr<BasicMaterial>& GetGridLineMaterial();

    /// Samples f at Min + i x Step for i = 0 .. steps - 1 (Max itself is not
    /// sampled when the span is a whole number of steps) into a line strip
    /// drawn with `material`. An invalid range logs "Range is not valid!" and
    /// returns false; so does a range of more than 2^24 steps, with "Range
    /// has too many steps!".
    bool AddCurve(const PlotRange& range, const PlotCurveFunctor& f, const std::shared_ptr<MaterialInstance>& material);

    /// A grid of nx x ny cells (the ranges' step counts) over a flat plane
    /// of the ranges' spans centred at the origin; f replaces each of its
    /// (nx + 1) x (ny + 1) vertices (column i, row j at index
    /// j x (nx + 1) + i). The x range is checked first ("X Range is not
    /// valid!"), then the y range ("Y Range is not valid!"); ranges of more
    /// than 2^24 steps ("Range has too many steps!") and grids too large for
    /// the geometry builder are refused too. A failed add changes
    /// nothing.
    bool AddSurface(const PlotRange& xRange, const PlotRange& yRange, const PlotSurfaceFunctor& f,
                    bool withGridLines);

    /// `Build(map, PlotRange(box minimum z, box maximum z, 1))`; null when
    /// nothing was added.
    std::shared_ptr<GroupSceneNode> Build(const std::shared_ptr<ColorMapKeyword>& map);
    /// A new group holding every curve node (a copy, sharing geometry and
    /// material, of one that an earlier build's group holds), then each
    /// surface coloured per
    /// vertex by the table (its range set to valueRange's Min and Max, its
    /// map to `map` when one is given) and its grid lines. A value range
    /// with a bound that is not finite, or Max below Min, logs "Value range
    /// is not valid!" and gives null.
    std::shared_ptr<GroupSceneNode> Build(const std::shared_ptr<ColorMapKeyword>& map, const PlotRange& valueRange);

private:
    std::string m_Title;
    std::shared_ptr<MaterialInstance> m_Material;
    std::shared_ptr<ColorLookupTable> m_ColorTable;
    std::vector<std::shared_ptr<PrimitiveSceneNode>> m_Curves;
    std::vector<std::shared_ptr<BufferGeometry>> m_Surfaces;
    std::vector<std::shared_ptr<BufferGeometry>> m_GridLines; // one per surface, maybe empty
    AxisAlignedBox m_Box;
    std::shared_ptr<BasicMaterial> m_GridLineMaterial;
    uint32_t m_GridLineStride = 1;
};

} // namespace orvcore
