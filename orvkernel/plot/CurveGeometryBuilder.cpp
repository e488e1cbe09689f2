#include <orvkernel/plot/CurveGeometryBuilder.h>

#include <cmath>
#include <utility>
#include <vector>

#include <glm/geometric.hpp>

#include <orvcommon/Logger.h>

namespace orvcore {

namespace {

bool IsFinite(const glm::vec3& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

// Line numbers 0, stride, 2 stride, ... below n - 1, then n - 1.
std::vector<uint32_t> KeptLines(uint32_t n, uint32_t stride)
{
    std::vector<uint32_t> lines;
    for (uint64_t k = 0; k < n - 1; k += stride)
        lines.push_back(uint32_t(k));
    lines.push_back(n - 1);
    return lines;
}

} // namespace

std::shared_ptr<BufferGeometry> CurveGeometryBuilder::CreatePolyline(const Float32Array& positions, bool closed)
{
    const std::size_t count = positions.GetCount() / 3;
    if (count < 2) {
        Logger::Instance().Waring("Curve needs at least two points!");
        return nullptr;
    }

    // Distance along the line; a step from or to a non-finite point adds
    // nothing, so dashes restart cleanly after a gap.
    std::vector<float> distances(count, 0.0f);
    const float* p = positions.GetData();
    for (std::size_t i = 1; i < count; ++i) {
        const glm::vec3 a(p[3 * i - 3], p[3 * i - 2], p[3 * i - 1]);
        const glm::vec3 b(p[3 * i], p[3 * i + 1], p[3 * i + 2]);
        const float step = IsFinite(a) && IsFinite(b) ? glm::distance(a, b) : 0.0f;
        distances[i] = distances[i - 1] + (std::isfinite(step) ? step : 0.0f);
    }

    auto geometry = std::make_shared<BufferGeometry>(closed ? PRIMITIVE_LINE_LOOP : PRIMITIVE_LINE_STRIP);
    geometry->SetAttribute(ATTRIBUTE_POSITION, std::make_shared<BufferAttribute>(p, count * 3, 3));
    geometry->SetAttribute(ATTRIBUTE_LINE_DISTANCE,
                           std::make_shared<BufferAttribute>(distances.data(), distances.size(), 1));
    geometry->ComputeBoundingBox();
    return geometry;
}

std::shared_ptr<BufferGeometry> CurveGeometryBuilder::CreateGridLines(const BufferGeometry& grid, uint32_t columns,
                                                                      uint32_t rows, uint32_t stride)
{
    const auto& positions = grid.GetPositions();
    if (!positions || columns < 2 || rows < 2 || stride == 0 ||
        uint64_t(columns) * rows != uint64_t(positions->GetCount())) {
        Logger::Instance().Waring("Grid size does not match the geometry!");
        return nullptr;
    }

    const std::vector<uint32_t> keptRows = KeptLines(rows, stride), keptColumns = KeptLines(columns, stride);
    // Sized once and written by arithmetic, then handed to the index list
    // without a copy (a 1000 x 1000 grid has four million indices).
    LargeVector<uint32_t> indices((keptRows.size() * (columns - 1) + keptColumns.size() * (rows - 1)) * 2);
    uint32_t* out = indices.data();
    for (uint32_t j : keptRows) {
        const uint32_t first = j * columns;
        for (uint32_t i = 0; i + 1 < columns; ++i, out += 2) {
            out[0] = first + i;
            out[1] = first + i + 1;
        }
    }
    for (uint32_t i : keptColumns) {
        for (uint32_t j = 0; j + 1 < rows; ++j, out += 2) {
            out[0] = j * columns + i;
            out[1] = (j + 1) * columns + i;
        }
    }

    auto geometry = std::make_shared<BufferGeometry>(PRIMITIVE_LINES);
    geometry->SetAttribute(ATTRIBUTE_POSITION, positions);
    geometry->SetIndex(std::make_shared<ElementAttribute>(std::move(indices)));
    // The box of the shared positions, computed once for both.
    geometry->SetBoundingBox(grid.GetSafeBoudingBox());
    return geometry;
}

} // namespace orvcore
