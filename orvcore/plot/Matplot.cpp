#include <orvcore/plot/Matplot.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/vec3.hpp>

#include <orvcommon/Logger.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/geometry/NormalCalculator.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/plot/CurveGeometryBuilder.h>

namespace orvcore {

namespace {

// Most samples along one range: the geometry builder's vertex limit.
constexpr unsigned int kMaxSteps = 1u << 24;

// A valid range whose step count is 0 has 2^32 steps or more.
bool HasTooManySteps(const PlotRange& range)
{
    const unsigned int n = range.GetSteps();
    if (n != 0 && n <= kMaxSteps)
        return false;
    Logger::Instance().Waring("Range has too many steps!");
    return true;
}

bool IsFinite(const glm::dvec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

glm::dvec3 Point(const float* positions, std::size_t vertex)
{
    const float* p = positions + vertex * 3;
    return glm::dvec3(p[0], p[1], p[2]);
}

// Twice-area face normals of the two triangles of every cell in cell row
// `cj` of the plane: (a, a + 1, a + row + 1) into `first[ci + 1]` and
// (a, a + row + 1, a + row) into `second[ci + 1]`, a the cell's lower-left
// vertex; one that is not finite is stored as zero.
void CellRowNormals(const float* positions, uint32_t columns, uint32_t cj, glm::dvec3* first, glm::dvec3* second)
{
    for (uint32_t ci = 0; ci + 1 < columns; ++ci) {
        const std::size_t a = std::size_t(cj) * columns + ci;
        const glm::dvec3 pa = Point(positions, a), pb = Point(positions, a + 1),
                         pc = Point(positions, a + columns + 1), pd = Point(positions, a + columns);
        const glm::dvec3 f = glm::cross(pb - pa, pc - pa), s = glm::cross(pc - pa, pd - pa);
        first[ci + 1] = IsFinite(f) ? f : glm::dvec3(0.0);
        second[ci + 1] = IsFinite(s) ? s : glm::dvec3(0.0);
    }
}

// Smooth normals of the plane grid's (columns x rows vertices) triangles,
// as the kernel's NormalCalculator gives them: each vertex gets the
// normalised sum of the twice-area normals of the (up to six) triangles
// around it, those that are not finite left out, (0, 0, 1) where nothing is
// left. The sums are gathered per vertex in the order in which the
// calculator's triangle walk adds them, so the results are the same to the
// bit; but the walk over the grid needs no index list, no copy of the
// points and no per-vertex sums, only the face normals of two cell rows.
//
// Missing triangles (past the grid's edges, or not finite) are added as
// zeros, which changes no sum: a sum that starts at +0 is never -0, and
// x + 0 is x for every other x. The cell rows therefore carry a zero cell
// at each end, and rows past the grid are all zeros.
void ComputeGridNormals(const float* positions, float* normals, uint32_t columns, uint32_t rows)
{
    const std::size_t padded = std::size_t(columns) + 1;
    // Cell rows j - 1 (below the vertex row) and j (above it); cell ci at ci + 1.
    std::vector<glm::dvec3> belowFirst(padded), belowSecond(padded), aboveFirst(padded), aboveSecond(padded);
    CellRowNormals(positions, columns, 0, aboveFirst.data(), aboveSecond.data());
    for (uint32_t j = 0; j < rows; ++j) {
        const glm::dvec3 *bf = belowFirst.data(), *bs = belowSecond.data();
        const glm::dvec3 *af = aboveFirst.data(), *as = aboveSecond.data();
        float* out = normals + std::size_t(j) * columns * 3;
        for (uint32_t i = 0; i < columns; ++i, out += 3) {
            // Triangles in the calculator's order: cell (i-1, j-1) both,
            // (i, j-1) its second, (i-1, j) its first, (i, j) both.
            glm::dvec3 sum(0.0);
            sum += bf[i];
            sum += bs[i];
            sum += bs[i + 1];
            sum += af[i];
            sum += af[i + 1];
            sum += as[i + 1];
            const double length = glm::length(sum);
            const glm::vec3 normal = length > 0.0 && std::isfinite(length) ? glm::vec3(sum / length)
                                                                           : glm::vec3(0.0f, 0.0f, 1.0f);
            out[0] = normal.x;
            out[1] = normal.y;
            out[2] = normal.z;
        }
        belowFirst.swap(aboveFirst);
        belowSecond.swap(aboveSecond);
        if (j + 2 < rows) {
            CellRowNormals(positions, columns, j + 1, aboveFirst.data(), aboveSecond.data());
        } else {
            std::fill(aboveFirst.begin(), aboveFirst.end(), glm::dvec3(0.0));
            std::fill(aboveSecond.begin(), aboveSecond.end(), glm::dvec3(0.0));
        }
    }
}

} // namespace

Matplot::Matplot(const std::string& title) : m_Title(title), m_ColorTable(std::make_shared<ColorLookupTable>()) {}

void Matplot::SetGridLineStride(uint32_t stride)
{
    if (stride == 0) {
        Logger::Instance().Waring("Grid line stride must be positive!");
        return;
    }
    m_GridLineStride = stride;
}

const std::shared_ptr<BasicMaterial>& Matplot::GetGridLineMaterial()
{
    if (!m_GridLineMaterial) {
        m_GridLineMaterial = BasicMaterial::Create("sys.plot.grid");
        m_GridLineMaterial->SetColor(glm::vec3(0.15f));
    }
    return m_GridLineMaterial;
}

bool Matplot::AddCurve(const PlotRange& range, const PlotCurveFunctor& f,
                       const std::shared_ptr<MaterialInstance>& material)
{
    if (!range.IsValid()) {
        Logger::Instance().Waring("Range is not valid!");
        return false;
    }
    if (HasTooManySteps(range))
        return false;
    const unsigned int n = range.GetSteps();
    std::vector<float> points(std::size_t(n) * 3);
    for (unsigned int i = 0; i < n; ++i) {
        const glm::vec3 p = f(i, range.GetMin() + float(i) * range.GetStep());
        points[3 * std::size_t(i)] = p.x;
        points[3 * std::size_t(i) + 1] = p.y;
        points[3 * std::size_t(i) + 2] = p.z;
    }
    auto geometry = CurveGeometryBuilder::CreatePolyline(Float32Array(points.data(), points.size()));
    if (!geometry) // a range of more steps than the float span shows (warned)
        return false;
    m_Curves.push_back(std::make_shared<PrimitiveSceneNode>(geometry, material));
    m_Box.merge(geometry->GetBoundingBox());
    return true;
}

bool Matplot::AddSurface(const PlotRange& xRange, const PlotRange& yRange, const PlotSurfaceFunctor& f,
                         bool withGridLines)
{
    if (!xRange.IsValid()) {
        Logger::Instance().Waring("X Range is not valid!");
        return false;
    }
    if (!yRange.IsValid()) {
        Logger::Instance().Waring("Y Range is not valid!");
        return false;
    }
    if (HasTooManySteps(xRange) || HasTooManySteps(yRange))
        return false;
    const uint32_t nx = xRange.GetSteps(), ny = yRange.GetSteps();
    auto geometry = GeometryBuilder::CreatePlane(xRange.GetRange(), yRange.GetRange(), nx, ny);
    if (!geometry) // too many vertices (warned by the builder)
        return false;

    // The plane has (nx + 1) x (ny + 1) vertices, vertex j (nx + 1) + i at
    // column i of row j; every one is replaced.
    Float32Array positions = geometry->GetPositions()->GetFloatArray();
    const uint32_t columns = nx + 1, rows = ny + 1;
    for (uint32_t j = 0; j < rows; ++j) {
        float* row = positions.GetData() + std::size_t(j) * columns * 3;
        for (uint32_t i = 0; i < columns; ++i) {
            float* v = row + std::size_t(i) * 3;
            const glm::vec3 p = f(i, j, v[0], v[1]);
            v[0] = p.x;
            v[1] = p.y;
            v[2] = p.z;
        }
    }
    geometry->GetPositions()->RaiseVersion();
    // The plane comes with a normal attribute of 3 packed floats per vertex
    // to write into; any other layout goes the calculator's general way.
    const std::shared_ptr<BufferAttribute>& normals = geometry->GetNormals();
    if (normals && normals->GetCount() == positions.GetCount() / 3 && normals->GetItemSize() == 3 &&
        normals->GetDataType() == DATA_TYPE_FLOAT && normals->GetByteStride() == 12) {
        ComputeGridNormals(positions.GetData(), reinterpret_cast<float*>(normals->GetData()), columns, rows);
        normals->RaiseVersion();
    } else {
        NormalCalculator::ComputeVertexNormals(*geometry);
    }

    std::shared_ptr<BufferGeometry> gridLines;
    if (withGridLines) {
        gridLines = CurveGeometryBuilder::CreateGridLines(*geometry, columns, rows, m_GridLineStride);
        if (!gridLines)
            return false;
    }
    m_Box.merge(geometry->GetSafeBoudingBox());
    m_Surfaces.push_back(geometry);
    m_GridLines.push_back(gridLines);
    return true;
}

std::shared_ptr<GroupSceneNode> Matplot::Build(const std::shared_ptr<ColorMapKeyword>& map)
{
    if (!m_Box.isFinite())
        return nullptr;
    return Build(map, PlotRange(m_Box.getMinimum().z, m_Box.getMaximum().z, 1.0f));
}

std::shared_ptr<GroupSceneNode> Matplot::Build(const std::shared_ptr<ColorMapKeyword>& map,
                                               const PlotRange& valueRange)
{
    if (!m_ColorTable->SetRange(valueRange.GetMin(), valueRange.GetMax()))
        return nullptr; // warned by the table
    if (map)
        m_ColorTable->SetColorMap(map);

    auto group = std::make_shared<GroupSceneNode>();
    // A curve node already placed by an earlier build stays in that group;
    // this one gets a copy sharing its geometry and material.
    for (const auto& curve : m_Curves)
        group->AddNode(curve->GetParent() ? curve->Clone() : curve);

    if (!m_Material) {
        m_Material = MeshPhongMaterial::Create("vertex-mesh-material");
        m_Material->SetFaceSide(FACE_DOUBLE);
        m_Material->SetVertexColors(true);
    }

    const ColorLookupTable& table = *m_ColorTable;
    for (std::size_t s = 0; s < m_Surfaces.size(); ++s) {
        BufferGeometry& geometry = *m_Surfaces[s];
        const Float32Array p = geometry.GetPositions()->GetFloatArray();
        const std::size_t count = p.GetCount() / 3;

        // Colours are written in place when an earlier build left a colour
        // attribute of the right shape, else into a new one.
        std::shared_ptr<BufferAttribute> colors = geometry.GetColors();
        if (!colors || colors->GetCount() != count || colors->GetItemSize() != 3 ||
            colors->GetDataType() != DATA_TYPE_FLOAT || colors->GetByteStride() != 12)
            colors = std::make_shared<BufferAttribute>(std::vector<float>(count * 3).data(), count * 3, 3);
        float* c = reinterpret_cast<float*>(colors->GetData());
        for (std::size_t v = 0; v < count; ++v) {
            const glm::vec3 color = table.GetColor(p[3 * v + 2]);
            c[3 * v] = color.r;
            c[3 * v + 1] = color.g;
            c[3 * v + 2] = color.b;
        }
        colors->RaiseVersion();
        geometry.SetAttribute(ATTRIBUTE_COLOR, colors);
        group->AddNode(std::make_shared<PrimitiveSceneNode>(m_Surfaces[s], m_Material));
        if (m_GridLines[s])
            group->AddNode(std::make_shared<PrimitiveSceneNode>(m_GridLines[s], GetGridLineMaterial()));
    }
    return group;
}

} // namespace orvcore
