#include <orvkernel/geometry/BufferAttribute.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/geometry/NormalCalculator.h>

#include <gtest/gtest.h>

#include "Expect.h"
#include "LogCapture.h"

using namespace orvcore;
using orvtest::LogCapture;
using Warnings = std::vector<std::string>;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

Float32Array View(std::vector<float>& values) { return Float32Array(values.data(), values.size()); }

glm::vec3 Position(const BufferGeometry& g, uint32_t v) { return g.GetPositions()->GetVec3(v); }

// Every triangle of a closed convex surface must have area, face away from a
// point inside it, and carry unit vertex normals on the same side as its face.
void ExpectOutward(const std::shared_ptr<BufferGeometry>& g, const glm::vec3& inside, const char* what)
{
    ASSERT_TRUE(g) << what;
    ASSERT_LT(g->GetIndex()->GetMaxIndex(), g->GetVertexCount()) << what;
    int degenerate = 0, inward = 0, badNormals = 0;
    for (std::size_t e = 0; e + 2 < g->GetElementCount(); e += 3) {
        const uint32_t v[3] = {g->GetElementVertex(e), g->GetElementVertex(e + 1), g->GetElementVertex(e + 2)};
        const glm::vec3 pa = Position(*g, v[0]), pb = Position(*g, v[1]), pc = Position(*g, v[2]);
        const glm::vec3 face = glm::cross(pb - pa, pc - pa);
        if (glm::length(face) < 1e-6f) {
            ++degenerate;
            continue;
        }
        inward += glm::dot(face, (pa + pb + pc) / 3.0f - inside) <= 0.0f;
        for (uint32_t k : v) {
            const glm::vec3 n = g->GetNormals()->GetVec3(k);
            badNormals += glm::dot(n, face) <= 0.0f || std::fabs(glm::length(n) - 1.0f) > 1e-5f;
        }
    }
    EXPECT_EQ(degenerate + inward + badNormals, 0)
        << what << ": " << degenerate << " degenerate, " << inward << " inward, " << badNormals << " bad normals";
}

std::shared_ptr<BufferGeometry> MakeTriangles(std::vector<float> positions, EnumPrimitiveType type,
                                              std::vector<uint32_t> indices = {})
{
    auto g = std::make_shared<BufferGeometry>(type);
    g->SetAttribute(ATTRIBUTE_POSITION, std::make_shared<BufferAttribute>(positions.data(), positions.size(), 3));
    if (!indices.empty())
        g->SetIndex(std::make_shared<ElementAttribute>(indices));
    return g;
}

} // namespace

// ---- BufferAttribute / ElementAttribute ----------------------------------

TEST(BufferAttribute, InterleavedReadWriteAndVersions)
{
    // Per vertex: position (3 floats) then an RGBA byte colour: 16 bytes.
    auto store = std::make_shared<BufferAttribute::ByteStore>(3 * 16);
    BufferAttribute positions(store, DATA_TYPE_FLOAT, 3, 16, 0, 3);
    BufferAttribute colors(store, DATA_TYPE_UNSIGNED_BYTE, 4, 16, 12, 3, true);
    for (uint32_t v = 0; v < 3; ++v)
        EXPECT_TRUE(positions.SetVec3(v, glm::vec3(v, 10 + v, 20 + v)) && colors.SetVec4(v, glm::vec4(1, 0, 0, 1)));
    for (uint32_t v = 0; v < 3; ++v) // neither clobbers the other
        EXPECT_TRUE(positions.GetVec3(v) == glm::vec3(v, 10 + v, 20 + v) && colors.GetVec4(v) == glm::vec4(1, 0, 0, 1));
    positions.RaiseVersion(); // as after a write through a float view
    EXPECT_EQ(positions.GetVersion(), 4u);

    LogCapture log;
    EXPECT_FALSE(positions.SetVec3(3, glm::vec3(0.0f)));
    EXPECT_EQ(positions.GetVersion(), 4u);
    EXPECT_EQ(positions.GetVec4(3), glm::vec4(0, 0, 0, 1));
    EXPECT_TRUE(positions.GetFloatArray().IsEmpty());
    EXPECT_EQ(log.warnings, Warnings({"Index is out of range!", "Index is out of range!",
                                      "Attribute is not a packed float array!"}));

    // A clone is packed, equal and independent.
    auto copy = positions.Clone();
    EXPECT_EQ(std::make_pair(copy->GetByteStride(), copy->GetVersion()), std::make_pair(12u, 4u));
    ASSERT_EQ(copy->GetFloatArray().GetCount(), 9u);
    copy->SetVec3(0, glm::vec3(-1.0f));
    EXPECT_EQ(positions.GetVec3(0), glm::vec3(0, 10, 20));

    // Normalised bytes map to [0, 1]; writes round to the nearest step and clamp, NaN stores 0.
    const uint8_t bytes[] = {0, 128, 255, 64};
    BufferAttribute c(DATA_TYPE_UNSIGNED_BYTE, 4, bytes, 1, true);
    EXPECT_EQ(c.GetVec4(0), glm::vec4(0.0f, 128.0f / 255.0f, 1.0f, 64.0f / 255.0f));
    EXPECT_EQ(BufferAttribute(DATA_TYPE_UNSIGNED_BYTE, 1, bytes + 1, 1, false).GetX(0), 128.0f);
    c.SetVec4(0, glm::vec4(0.5f, 2.0f, -1.0f, kNaN));
    EXPECT_EQ(std::vector<uint8_t>(c.GetData(), c.GetData() + 4), std::vector<uint8_t>({128, 255, 0, 0}));
}

TEST(BufferAttribute, RefusesLayoutsOutsideTheStoreAndIndicesOutOfRange)
{
    LogCapture log;
    auto store = std::make_shared<BufferAttribute::ByteStore>(16);
    EXPECT_EQ(BufferAttribute(store, DATA_TYPE_FLOAT, 3, 12, 8, 1).GetCount(), 0u); // ends at 20
    EXPECT_EQ(BufferAttribute(store, DATA_TYPE_FLOAT, 3, 8, 0, 1).GetCount(), 0u);  // stride < item
    EXPECT_EQ(BufferAttribute(store, DATA_TYPE_FLOAT, 1, 4, 0, (std::size_t(1) << 62) + 1).GetCount(), 0u);
    EXPECT_EQ(BufferAttribute(store, DATA_TYPE_FLOAT, 1, 4, 20, 1).GetCount(), 0u); // offset past the end
    EXPECT_EQ(log.warnings, Warnings(4, "Attribute layout exceeds its store!"));
    log.warnings.clear();
    // A float attribute at an odd offset reads fine but has no float view.
    BufferAttribute odd(store, DATA_TYPE_FLOAT, 1, 4, 2, 3);
    odd.SetVec4(0, glm::vec4(3.5f));
    EXPECT_EQ(odd.GetX(0), 3.5f);
    EXPECT_TRUE(odd.GetFloatArray().IsEmpty());

    ElementAttribute narrow(std::vector<uint16_t>{0, 1, 2});
    EXPECT_EQ(narrow.GetByteSize(), 6u);
    EXPECT_FALSE(narrow.Set(1, 65536));
    EXPECT_FALSE(narrow.Set(3, 1));
    EXPECT_EQ(std::make_pair(narrow.Get(1), narrow.GetVersion()), std::make_pair(1u, 0u));
    EXPECT_EQ(log.warnings, Warnings({"Attribute is not a packed float array!", "Index does not fit 16 bits!",
                                      "Index is out of range!"}));
    EXPECT_TRUE(narrow.Set(1, 65535));
    EXPECT_EQ(std::make_pair(narrow.GetMaxIndex(), narrow.GetVersion()), std::make_pair(65535u, 1u));
    EXPECT_EQ(ElementAttribute(std::vector<uint32_t>{5, 70000}).GetMaxIndex(), 70000u);
}

// ---- BufferGeometry --------------------------------------------------------

TEST(BufferGeometry, SafeBoxFollowsPositionChangesPlainBoxDoesNot)
{
    auto g = GeometryBuilder::CreateBox(glm::vec3(1.0f));
    g->GetPositions()->SetVec3(0, glm::vec3(10.0f, 0.0f, 0.0f));
    EXPECT_EQ(g->GetBoundingBox().getMaximum(), glm::vec3(0.5f)); // stale until recomputed
    EXPECT_EQ(g->GetSafeBoudingBox().getMaximum(), glm::vec3(10.0f, 0.5f, 0.5f));
    // A write through the float view counts once its version is raised.
    g->GetPositions()->GetFloatArray()[1] = 20.0f;
    EXPECT_EQ(g->GetSafeBoudingBox().getMaximum().y, 0.5f);
    g->GetPositions()->RaiseVersion();
    EXPECT_EQ(g->GetSafeBoudingBox().getMaximum().y, 20.0f);
    // Replacing or removing the positions counts too.
    const float one[] = {1, 2, 3};
    g->SetAttribute(ATTRIBUTE_POSITION, std::make_shared<BufferAttribute>(one, 3, 3));
    EXPECT_EQ(g->GetSafeBoudingBox(), AxisAlignedBox(glm::vec3(1, 2, 3), glm::vec3(1, 2, 3)));
    g->SetAttribute(ATTRIBUTE_POSITION, nullptr);
    EXPECT_TRUE(g->GetSafeBoudingBox().isNull());

    // Clones are deep: every attribute and the index are copies.
    auto original = GeometryBuilder::CreateSphere(1.0f, 8, 4);
    auto copy = original->Clone();
    ASSERT_TRUE(copy->GetUVs() && copy->GetNormals() && copy->GetIndex() != original->GetIndex());
    EXPECT_EQ(*copy->GetUVs()->GetStore(), *original->GetUVs()->GetStore());
    copy->GetPositions()->SetVec3(0, glm::vec3(5.0f));
    copy->GetIndex()->Set(0, 1);
    EXPECT_TRUE(original->GetPositions()->GetVec3(0) == glm::vec3(0, 0, 1) && original->GetIndex()->Get(0) == 0u);
}

// ---- GeometryBuilder ---------------------------------------------------------

TEST(GeometryBuilder, CountsKindsAndIndexWidth)
{
    struct Case {
        const char* name;
        std::shared_ptr<BufferGeometry> g;
        EnumPrimitiveType type;
        std::size_t vertices, elements, primitives;
    };
    const Case cases[] = {
        {"plane", GeometryBuilder::CreatePlane(2, 1, 3, 2), PRIMITIVE_TRIANGLES, 12, 36, 12},
        {"quad", GeometryBuilder::AtomQuadShape(), PRIMITIVE_TRIANGLES, 4, 6, 2},
        {"line", GeometryBuilder::CreateLine(glm::vec3(0.0f), glm::vec3(1.0f)), PRIMITIVE_LINES, 2, 2, 1},
        {"box", GeometryBuilder::CreateBox(glm::vec3(1.0f)), PRIMITIVE_TRIANGLES, 24, 36, 12},
        {"box edges", GeometryBuilder::CreateBoxEdges(glm::vec3(1.0f)), PRIMITIVE_LINES, 8, 24, 12},
        // Poles: one vertex per segment; inner rows repeat the seam vertex.
        {"sphere", GeometryBuilder::CreateSphere(1, 8, 4), PRIMITIVE_TRIANGLES, 2 * 8 + 3 * 9, 144, 48},
        {"cylinder", GeometryBuilder::CreateCylinder(1, 1, 2, 8), PRIMITIVE_TRIANGLES, 36, 96, 32},
        {"open cylinder", GeometryBuilder::CreateCylinder(1, 1, 2, 8, false), PRIMITIVE_TRIANGLES, 18, 48, 16},
        {"cone", GeometryBuilder::CreateCone(1, 2, 8), PRIMITIVE_TRIANGLES, 26, 48, 16},
        {"arrow head", GeometryBuilder::CreateArrowHead(), PRIMITIVE_TRIANGLES, 50, 96, 32},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(c.g);
        EXPECT_EQ(c.g->GetPrimitiveType(), c.type);
        EXPECT_EQ(c.g->GetVertexCount(), c.vertices);
        EXPECT_EQ(c.g->GetElementCount(), c.elements);
        EXPECT_EQ(c.g->GetPrimitiveCount(), c.primitives);
        EXPECT_TRUE(c.g->GetBoundingBox().isFinite());
        EXPECT_LT(c.g->GetIndex() ? c.g->GetIndex()->GetMaxIndex() : 0u, c.vertices);
    }
    EXPECT_EQ(GeometryBuilder::AtomQuadShape(), GeometryBuilder::AtomQuadShape());
    EXPECT_EQ(GeometryBuilder::CreateArrowHead(), GeometryBuilder::CreateArrowHead());

    // Indices are 16-bit while every vertex number fits.
    auto small = GeometryBuilder::CreatePlane(1, 1, 255, 255); // 65536 vertices
    EXPECT_EQ(small->GetIndex()->GetDataType(), DATA_TYPE_UNSIGNED_SHORT);
    EXPECT_EQ(small->GetIndex()->GetMaxIndex(), 65535u);
    auto large = GeometryBuilder::CreatePlane(1, 1, 256, 255);
    EXPECT_EQ(large->GetIndex()->GetDataType(), DATA_TYPE_UNSIGNED_INT);
    EXPECT_EQ(large->GetIndex()->GetMaxIndex(), 257u * 256u - 1u);
}

TEST(GeometryBuilder, SurfacesFaceOutwardWithTheirNormals)
{
    // (Plane texture coordinates: the textured quad of the GL draw tests.)
    ExpectOutward(GeometryBuilder::CreatePlane(8.0f, 2.0f, 4, 2), glm::vec3(0, 0, -1), "plane");
    EXPECT_EQ(GeometryBuilder::AtomQuadShape()->GetBoundingBox(),
              AxisAlignedBox(glm::vec3(-0.5f, -0.5f, 0), glm::vec3(0.5f, 0.5f, 0)));

    ExpectOutward(GeometryBuilder::CreateBox(glm::vec3(1, 2, 3)), glm::vec3(0.0f), "box");
    ExpectOutward(GeometryBuilder::CreateSphere(2.0f), glm::vec3(0.0f), "sphere");
    ExpectOutward(GeometryBuilder::CreateSphere(1.0f, 3, 2), glm::vec3(0.0f), "coarsest sphere");
    ExpectOutward(GeometryBuilder::CreateCylinder(1, 1, 2, 16), glm::vec3(0.0f), "cylinder");
    ExpectOutward(GeometryBuilder::CreateCylinder(0.5f, 2, 1, 5), glm::vec3(0.0f), "frustum");
    ExpectOutward(GeometryBuilder::CreateCylinder(1, 0, 2), glm::vec3(0.0f), "inverted cone");
    ExpectOutward(GeometryBuilder::CreateCone(1, 2, 3), glm::vec3(0.0f, 0.0f, -0.5f), "cone");
    ExpectOutward(GeometryBuilder::CreateArrowHead(), glm::vec3(0.0f, 0.0f, 0.5f), "arrow head");
    EXPECT_EQ(GeometryBuilder::CreateBoxEdges(glm::vec3(2, 4, 6))->GetBoundingBox(),
              AxisAlignedBox(glm::vec3(-1, -2, -3), glm::vec3(1, 2, 3)));
    EXPECT_EQ(GeometryBuilder::CreateArrowHead()->GetBoundingBox().getMaximum().z, 3.0f);

    auto sphere = GeometryBuilder::CreateSphere(3.0f, 12, 6);
    for (uint32_t v = 0; v < sphere->GetVertexCount(); ++v)
        EXPECT_VEC(sphere->GetNormals()->GetVec3(v), Position(*sphere, v) / 3.0f);
    // A cone's side normals lean towards the tip: at the base rim they are
    // perpendicular to the slant line, (h, 0, r) normalised at angle 0.
    auto arrow = GeometryBuilder::CreateArrowHead();
    int rimVertices = 0;
    for (uint32_t v = 0; v < arrow->GetVertexCount(); ++v) {
        if (Position(*arrow, v) == glm::vec3(1, 0, 0) && arrow->GetNormals()->GetVec3(v).z > 0.0f) {
            EXPECT_VEC(arrow->GetNormals()->GetVec3(v), glm::normalize(glm::vec3(3, 0, 1)));
            ++rimVertices;
        }
    }
    EXPECT_EQ(rimVertices, 2); // the seam vertex is repeated
    // A cylinder of no height still has unit side normals.
    EXPECT_VEC(GeometryBuilder::CreateCylinder(2, 2, 0, 4)->GetNormals()->GetVec3(1), glm::vec3(0, 1, 0));
}

TEST(GeometryBuilder, BuildersFromArrays)
{
    std::vector<float> p = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 5, 5}; // two segments and a stray
    std::vector<float> colors(12, 0.5f), distances = {0, 1, 1, 2, 9};
    LogCapture log;
    auto lines = GeometryBuilder::CreateLines(Float32Array(p.data(), p.size()), View(colors),
                                              Float32Array(distances.data(), 4));
    EXPECT_EQ(lines->GetPrimitiveCount(), 2u);
    EXPECT_EQ(lines->GetColors()->GetCount(), 4u);
    ASSERT_TRUE(lines->GetAttribute(ATTRIBUTE_LINE_DISTANCE));
    EXPECT_EQ(lines->GetAttribute(ATTRIBUTE_LINE_DISTANCE)->GetX(3), 2.0f);
    EXPECT_EQ(lines->GetBoundingBox(), AxisAlignedBox(glm::vec3(0.0f), glm::vec3(1, 1, 0)));
    // Colours for all five given vertices are accepted (the dropped one's
    // go with it); other sizes leave the attribute out.
    std::vector<float> fiveColors(15, 1.0f);
    lines = GeometryBuilder::CreateLines(Float32Array(p.data(), 15), View(fiveColors),
                                         Float32Array(distances.data(), 3));
    EXPECT_EQ(lines->GetColors()->GetCount(), 4u);
    EXPECT_FALSE(lines->GetAttribute(ATTRIBUTE_LINE_DISTANCE));
    auto points = GeometryBuilder::CreatePoints(Float32Array(p.data(), 12), Float32Array(colors.data(), 11));
    EXPECT_EQ(points->GetPrimitiveCount(), 4u);
    EXPECT_FALSE(points->GetColors());
    auto strip = GeometryBuilder::CreateGeometry(Float32Array(p.data(), 12), View(colors), PRIMITIVE_TRIANGLE_STRIP);
    EXPECT_EQ(strip->GetPrimitiveCount(), 2u);
    EXPECT_EQ(strip->GetNormals()->GetCount(), 4u);
    EXPECT_FALSE(GeometryBuilder::CreateGeometry(View(p), Float32Array(), EnumPrimitiveType(7)));
    EXPECT_EQ(log.warnings, Warnings({"Line positions are not a whole number of segments!",
                                      "Line positions are not a whole number of segments!",
                                      "Line distance count does not match the vertex count!",
                                      "Color count does not match the vertex count!", "Unknown primitive type!"}));
    log.warnings.clear();
    auto empty = GeometryBuilder::CreateLines(Float32Array());
    EXPECT_EQ(empty->GetVertexCount(), 0u);
    EXPECT_TRUE(empty->GetBoundingBox().isNull());
    EXPECT_TRUE(log.warnings.empty());
}

TEST(GeometryBuilder, BadInputWarnsAndStaysSafe)
{
    LogCapture log;
    using B = GeometryBuilder;
    for (const auto& g : {B::CreatePlane(-1, 1, 1, 1), B::CreatePlane(1, kNaN, 1, 1), B::CreateBox({1, kInf, 1}),
                          B::CreateBoxEdges({-1, 1, 1}), B::CreateSphere(kNaN), B::CreateCylinder(1, -1, 1),
                          B::CreateCone(1, kInf)})
        EXPECT_FALSE(g);
    EXPECT_EQ(log.warnings, Warnings(7, "Geometry size must be finite and not negative!"));
    log.warnings.clear();

    for (const auto& g : {B::CreateCylinder(0, 0, 1), B::CreatePlane(1, 1, 100000, 100000),
                          B::CreatePlane(1, 1, 0xffffffffu, 0xffffffffu), B::CreateSphere(1, 0xffffffffu, 0xffffffffu),
                          B::CreateCylinder(1, 1, 1, 0xffffffffu)})
        EXPECT_FALSE(g);
    // Segment counts below the minimum are raised to it.
    EXPECT_EQ(GeometryBuilder::CreatePlane(1, 1, 0, 3)->GetPrimitiveCount(), 6u);
    EXPECT_EQ(GeometryBuilder::CreateSphere(1, 1, 1)->GetPrimitiveCount(), 6u);
    EXPECT_EQ(GeometryBuilder::CreateSphere(1, 2, 2)->GetPrimitiveCount(), 6u); // just below the minimum
    EXPECT_EQ(GeometryBuilder::CreateCylinder(1, 1, 1, 2, false)->GetPrimitiveCount(), 6u);
    EXPECT_EQ(log.warnings, Warnings({"Cylinder needs a positive radius!", "Too many segments!", "Too many segments!",
                                      "Too many segments!", "Too many segments!",
                                      "Plane needs at least 1 segment per side!",
                                      "Sphere needs at least 3 width and 2 height segments!",
                                      "Sphere needs at least 3 width and 2 height segments!",
                                      "Cylinder needs at least 3 radial segments!"}));
}

// ---- NormalCalculator --------------------------------------------------------

TEST(NormalCalculator, AreaWeightedAndStripsAndFansKeepTheFirstWinding)
{
    // Vertex 0 is shared by a triangle in XY of area 2 (+Z) and one in XZ
    // of area 1/2 (-Y); vertices 5 and 6 only touch a degenerate triangle,
    // vertex 7 nothing.
    auto g = MakeTriangles({0, 0, 0, 2, 0, 0, 0, 2, 0, 1, 0, 0, 0, 0, 1, 4, 4, 4, 5, 5, 5, 9, 9, 9},
                           PRIMITIVE_TRIANGLES, {0, 1, 2, 0, 3, 4, 5, 5, 6});
    ASSERT_TRUE(NormalCalculator::ComputeVertexNormals(g));
    const auto& n = g->GetNormals();
    EXPECT_VEC(n->GetVec3(0), glm::normalize(glm::vec3(0, -1, 4)));
    EXPECT_VEC(n->GetVec3(1), glm::vec3(0, 0, 1));
    EXPECT_VEC(n->GetVec3(3), glm::vec3(0, -1, 0));
    for (uint32_t v : {5u, 6u, 7u})
        EXPECT_EQ(n->GetVec3(v), glm::vec3(0, 0, 1));

    // A two-triangle strip in XY: the second triangle faces +Z only when
    // read in flipped order, and vertex 3 belongs to it alone.
    auto strip = MakeTriangles({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, PRIMITIVE_TRIANGLE_STRIP);
    // A fan around the origin, indexed clockwise: it faces -Z.
    auto fan = MakeTriangles({0, 0, 0, 1, 0, 0, 0, 1, 0, -1, 0, 0}, PRIMITIVE_TRIANGLE_FAN, {0, 3, 2, 1});
    for (const auto& [g, z] : {std::pair(strip, 1.0f), std::pair(fan, -1.0f)}) {
        ASSERT_TRUE(NormalCalculator::ComputeVertexNormals(g));
        for (uint32_t v = 0; v < 4; ++v)
            EXPECT_VEC(g->GetNormals()->GetVec3(v), glm::vec3(0, 0, z)) << v;
    }
}

TEST(NormalCalculator, WritesIntoInterleavedOrReplacesMismatchedNormals)
{
    // Positions and normals interleaved in one store: normals are written in
    // place, positions stay.
    auto store = std::make_shared<BufferAttribute::ByteStore>(3 * 24);
    auto positions = std::make_shared<BufferAttribute>(store, DATA_TYPE_FLOAT, 3, 24, 0, 3);
    auto normals = std::make_shared<BufferAttribute>(store, DATA_TYPE_FLOAT, 3, 24, 12, 3);
    positions->SetVec3(1, glm::vec3(0, 0, 1));
    positions->SetVec3(2, glm::vec3(0, 1, 0));
    BufferGeometry g;
    g.SetAttribute(ATTRIBUTE_POSITION, positions);
    g.SetAttribute(ATTRIBUTE_NORMAL, normals);
    ASSERT_TRUE(NormalCalculator::ComputeVertexNormals(g));
    EXPECT_EQ(g.GetNormals(), normals);
    EXPECT_EQ(normals->GetVersion(), 1u);
    EXPECT_VEC(normals->GetVec3(2), glm::vec3(-1, 0, 0));
    EXPECT_EQ(positions->GetVec3(2), glm::vec3(0, 1, 0));
    // Normals of the wrong count are replaced by a fresh float attribute.
    const float two[] = {0, 0, 1, 0, 0, 1};
    g.SetAttribute(ATTRIBUTE_NORMAL, std::make_shared<BufferAttribute>(two, 6, 3));
    ASSERT_TRUE(NormalCalculator::ComputeVertexNormals(g));
    EXPECT_EQ(g.GetNormals()->GetCount(), 3u);

    LogCapture log;
    EXPECT_FALSE(NormalCalculator::ComputeVertexNormals(GeometryBuilder::CreateLine(glm::vec3(0.0f), glm::vec3(1.0f))));
    BufferGeometry empty;
    EXPECT_FALSE(NormalCalculator::ComputeVertexNormals(empty));
    auto outOfRange = MakeTriangles({0, 0, 0, 1, 0, 0, 0, 1, 0}, PRIMITIVE_TRIANGLES, {0, 1, 3});
    EXPECT_FALSE(NormalCalculator::ComputeVertexNormals(outOfRange));
    EXPECT_FALSE(outOfRange->GetNormals());
    EXPECT_FALSE(NormalCalculator::ComputeVertexNormals(std::shared_ptr<BufferGeometry>()));
    EXPECT_EQ(log.warnings, Warnings({"Normals need a triangle geometry!", "Geometry has no positions!",
                                      "Index is out of range!", "Geometry is null!"}));
}
