// Small parts of one material merged into one draw: what joins, the merged
// vertices, and what a frame rewrites.
#include <orvcore/render/ModelBatch.h>
#include <orvcore/render/RenderList.h>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/LineDashedMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>

#include "Expect.h"
#include "RecordingDevice.h"

using namespace orvcore;

namespace {

// Takes merged draws like the OpenGL device and keeps the last one drawn.
class MergingDevice : public orvtest::RecordingDevice {
public:
    bool SupportsInstancing() const override { return true; }
    void Draw(PrimitiveShape* p, const glm::mat4& transform) override
    {
        last = p;
        RecordingDevice::Draw(p, transform);
    }
    PrimitiveShape* last = nullptr;
};

struct Parts {
    std::shared_ptr<MaterialInstance> material = MeshPhongMaterial::Create("part");
    std::vector<std::shared_ptr<PrimitiveShape>> shapes;
    std::vector<glm::mat4> transforms;

    explicit Parts(int count)
    {
        for (int i = 0; i < count; ++i) {
            shapes.push_back(std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(1.0f)), material));
            glm::mat4 t = glm::translate(glm::mat4(1.0f), glm::vec3(float(i) * 3.0f, 0, 0));
            t = glm::rotate(t, 0.1f * float(i), glm::vec3(0, 0, 1));
            transforms.push_back(glm::scale(t, glm::vec3(1.0f, 2.0f, 0.5f)));
        }
    }
    void Fill(RenderList& list, bool reversed = false) const
    {
        list.Reset();
        for (std::size_t k = 0; k < shapes.size(); ++k) {
            const std::size_t i = reversed ? shapes.size() - 1 - k : k;
            list.AddItem(shapes[i].get(), nullptr, transforms[i], float(k));
        }
    }
};

// Element `e` of the part whose elements start at `firstElement` in the
// merged index, against the part's own vertex carried by its matrix.
void ExpectWorldVertex(const PrimitiveShape& merged, std::size_t firstElement, const PrimitiveShape& part,
                       const glm::mat4& transform, uint32_t e)
{
    const BufferGeometry& g = *part.GetGeometry();
    const uint32_t corner = g.GetIndex() ? g.GetIndex()->Get(e) : e;
    const BufferGeometry& m = *merged.GetGeometry();
    ASSERT_NE(m.GetIndex(), nullptr);
    const uint32_t at = m.GetIndex()->Get(firstElement + e);
    const glm::vec3 world = glm::vec3(transform * glm::vec4(g.GetPositions()->GetVec3(corner), 1.0f));
    EXPECT_VEC(m.GetPositions()->GetVec3(at), world, 1e-4f);
    const glm::vec3 normal = glm::normalize(glm::transpose(glm::inverse(glm::mat3(transform))) *
                                            g.GetNormals()->GetVec3(corner));
    EXPECT_VEC(glm::normalize(m.GetNormals()->GetVec3(at)), normal, 1e-4f);
}

} // namespace

TEST(ModelBatch, MergesPartsIntoWorldSpaceAndRewritesOnlyWhatMoved)
{
    Parts parts(70);
    RenderList list;
    parts.Fill(list);
    ModelBatch batch;
    ASSERT_TRUE(batch.Update(list, 0, list.GetItemCount()));
    EXPECT_EQ(batch.GetPartCount(), 70u);
    EXPECT_EQ(batch.GetRebuildCount(), 1u);
    MergingDevice device;
    batch.Draw(&device);
    ASSERT_NE(device.last, nullptr);
    // Indexed: each part's own vertices once, its elements as they were.
    const std::size_t perBox = parts.shapes[0]->GetGeometry()->GetElementCount();
    const std::size_t verticesPerBox = parts.shapes[0]->GetGeometry()->GetPositions()->GetCount();
    EXPECT_EQ(device.last->GetGeometry()->GetPositions()->GetCount(), 70 * verticesPerBox);
    EXPECT_EQ(device.last->GetGeometry()->GetElementCount(), 70 * perBox);
    ExpectWorldVertex(*device.last, 0, *parts.shapes[0], parts.transforms[0], 0);
    ExpectWorldVertex(*device.last, 33 * perBox, *parts.shapes[33], parts.transforms[33], 7);

    // The next frame, unchanged: nothing written.
    parts.Fill(list);
    ASSERT_TRUE(batch.Update(list, 0, list.GetItemCount()));
    EXPECT_EQ(batch.GetRewrittenCount(), 0u);
    // Sorted the other way round (an orbit reorders by depth): still nothing.
    parts.Fill(list, true);
    ASSERT_TRUE(batch.Update(list, 0, list.GetItemCount()));
    EXPECT_EQ(batch.GetRewrittenCount(), 0u);
    EXPECT_EQ(batch.GetRebuildCount(), 1u);
    // One part moved: its vertices alone, where the first frame put them.
    parts.transforms[33] = glm::translate(parts.transforms[33], glm::vec3(0, 0, 4));
    parts.Fill(list, true);
    ASSERT_TRUE(batch.Update(list, 0, list.GetItemCount()));
    EXPECT_EQ(batch.GetRewrittenCount(), 1u);
    EXPECT_EQ(batch.GetRebuildCount(), 1u);
    ExpectWorldVertex(*device.last, 33 * perBox, *parts.shapes[33], parts.transforms[33], 7);
    // A part's own vertices changed, or a part gone: made again.
    parts.shapes[5]->GetGeometry()->GetPositions()->SetVec3(0, glm::vec3(9.0f));
    parts.Fill(list);
    ASSERT_TRUE(batch.Update(list, 0, list.GetItemCount()));
    EXPECT_EQ(batch.GetRebuildCount(), 2u);
    ASSERT_TRUE(batch.Update(list, 1, list.GetItemCount() - 1));
    EXPECT_EQ(batch.GetRebuildCount(), 3u);
    EXPECT_EQ(batch.GetPartCount(), 69u);
    // So does a new attribute object, even one of the same version.
    const auto& geometry = parts.shapes[7]->GetGeometry();
    geometry->SetAttribute(ATTRIBUTE_NORMAL, geometry->GetNormals()->Clone());
    ASSERT_TRUE(batch.Update(list, 1, list.GetItemCount() - 1));
    EXPECT_EQ(batch.GetRebuildCount(), 4u);

    // One primitive placed twice is two parts; matched by order only.
    RenderList twice;
    parts.Fill(twice);
    twice.AddItem(parts.shapes[0].get(), nullptr, parts.transforms[1], 99.0f);
    ASSERT_TRUE(batch.Update(twice, 0, twice.GetItemCount()));
    EXPECT_EQ(batch.GetPartCount(), 71u);
    ASSERT_TRUE(batch.Update(twice, 0, twice.GetItemCount()));
    EXPECT_EQ(batch.GetRewrittenCount(), 0u);
    EXPECT_EQ(batch.GetRebuildCount(), 5u);
}

TEST(ModelBatch, PartsOfMaterialsThatDifferInColourMergeTinted)
{
    // Every part its own material, as an imported assembly's parts are;
    // the colours differ, nothing else.
    Parts parts(200);
    std::vector<std::shared_ptr<MeshPhongMaterial>> materials;
    for (std::size_t i = 0; i < parts.shapes.size(); ++i) {
        materials.push_back(MeshPhongMaterial::Create("part"));
        materials.back()->SetColor(glm::vec3(float(i) / 200.0f, 0.5f, 1.0f - float(i) / 200.0f));
        parts.shapes[i]->SetMaterial(materials.back());
    }
    RenderList list;
    parts.Fill(list);
    MergingDevice device;
    list.Render(&device);
    // One draw, with a white copy of the material taking vertex colours.
    ASSERT_EQ(device.Count("Draw("), 1u);
    ASSERT_NE(device.last, nullptr);
    const BufferGeometry& merged = *device.last->GetGeometry();
    ASSERT_NE(merged.GetColors(), nullptr);
    const std::size_t perBox = parts.shapes[0]->GetGeometry()->GetElementCount();
    for (std::size_t part : {0u, 33u, 199u})
        EXPECT_VEC(merged.GetColors()->GetVec3(merged.GetIndex()->Get(part * perBox + 5)), materials[part]->GetColor(),
                   0.0f);

    ModelBatch batch;
    ASSERT_TRUE(batch.Update(list, 0, list.GetItemCount(), true));
    const MaterialInstance* tint = batch.GetTintMaterial();
    ASSERT_NE(tint, nullptr);
    EXPECT_EQ(tint->GetColor(), glm::vec3(1.0f));
    EXPECT_TRUE(tint->GetVertexColors());
    EXPECT_EQ(tint->GetShininess(), materials[0]->GetShininess());
    // A colour changed between frames rewrites that part alone; the tint
    // material stays.
    materials[12]->SetColor(glm::vec3(0.0f, 1.0f, 0.0f));
    parts.Fill(list, true);
    ASSERT_TRUE(batch.Update(list, 0, list.GetItemCount(), true));
    EXPECT_EQ(batch.GetRewrittenCount(), 1u);
    EXPECT_EQ(batch.GetRebuildCount(), 1u);
    EXPECT_EQ(batch.GetTintMaterial(), tint);

    // A material differing in more than colour ends the merged stretch;
    // so does a kind that is not tinted (a dashed line's state is its own).
    materials[100]->SetShininess(3.0f);
    parts.Fill(list);
    device.Clear();
    list.Render(&device);
    EXPECT_EQ(device.Count("Draw("), 3u); // parts 0-99 merged, 100 alone, 101-199 merged
    EXPECT_FALSE(ModelBatch::CanTint(LineDashedMaterial::Create("dashed").get()));
    auto glass = MeshPhongMaterial::Create("glass");
    glass->BlendingMode = BLENDING_TRANSPARENT;
    EXPECT_FALSE(ModelBatch::CanTint(glass.get()));
}

TEST(ModelBatch, OnlyPlainSmallListsWithInvertibleAffineMatricesJoin)
{
    uint32_t type = 0, attributes = 0;
    std::size_t vertices = 0;
    auto material = MeshPhongMaterial::Create("part");
    auto box = std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(1.0f)), material);
    const auto accepts = [&](PrimitiveShape* p, const glm::mat4& m) {
        return ModelBatch::Accepts(RenderItem(p, nullptr, m, 0.0f), type, attributes, vertices);
    };
    EXPECT_TRUE(accepts(box.get(), glm::mat4(1.0f)));
    EXPECT_EQ(type, uint32_t(PRIMITIVE_TRIANGLES));
    EXPECT_EQ(attributes, 3u); // normals and texture coordinates
    EXPECT_EQ(vertices, box->GetGeometry()->GetElementCount());

    auto edges = std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBoxEdges(glm::vec3(1.0f)), material);
    EXPECT_TRUE(accepts(edges.get(), glm::mat4(1.0f)));
    EXPECT_EQ(type, uint32_t(PRIMITIVE_LINES));

    glm::mat4 projective(1.0f);
    projective[0][3] = 0.5f;
    EXPECT_FALSE(accepts(box.get(), projective));
    EXPECT_FALSE(accepts(box.get(), glm::scale(glm::mat4(1.0f), glm::vec3(1.0f, 0.0f, 1.0f))));
    EXPECT_FALSE(accepts(box.get(), glm::translate(glm::mat4(1.0f), glm::vec3(NAN, 0.0f, 0.0f))));
    EXPECT_FALSE(accepts(nullptr, glm::mat4(1.0f)));

    auto coloured = std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(1.0f)), material);
    coloured->GetGeometry()->SetAttribute(
        ATTRIBUTE_COLOR, std::make_shared<BufferAttribute>(std::vector<float>(24 * 4, 1.0f).data(), 24 * 4, 4));
    EXPECT_FALSE(accepts(coloured.get(), glm::mat4(1.0f)));
    auto sphere = std::make_shared<PrimitiveShape>(GeometryBuilder::CreateSphere(1.0f, 64, 64), material);
    EXPECT_FALSE(accepts(sphere.get(), glm::mat4(1.0f))); // too many vertices to copy each frame

    // Vertex numbers past the positions make empty triangles (one vertex
    // thrice), not reads outside the arrays.
    RenderList list;
    std::vector<std::shared_ptr<PrimitiveShape>> bad;
    for (int i = 0; i < 3; ++i) {
        bad.push_back(std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(1.0f)), material));
        bad.back()->GetGeometry()->SetIndex(std::make_shared<ElementAttribute>(std::vector<uint32_t>{0, 1, 500}));
        list.AddItem(bad.back().get(), nullptr, glm::mat4(1.0f), 0.0f);
    }
    ModelBatch batch;
    ASSERT_TRUE(batch.Update(list, 0, 3));
    MergingDevice device;
    batch.Draw(&device);
    ASSERT_NE(device.last, nullptr);
    const ElementAttribute& merged = *device.last->GetGeometry()->GetIndex();
    ASSERT_EQ(merged.GetCount(), 9u);
    for (uint32_t part = 0; part < 3; ++part) {
        EXPECT_EQ(merged.Get(3 * part), merged.Get(3 * part + 1));
        EXPECT_EQ(merged.Get(3 * part), merged.Get(3 * part + 2));
        EXPECT_LT(merged.Get(3 * part), device.last->GetGeometry()->GetPositions()->GetCount());
    }
}

TEST(RenderList, ManySmallPartsOfOneMaterialAreOneDraw)
{
    Parts parts(100);
    RenderList list;
    parts.Fill(list);
    MergingDevice device;
    list.Render(&device);
    EXPECT_EQ(device.Count("Draw("), 1u);
    // Off through the device's settings, and below the least worth merging,
    // every part is drawn on its own.
    device.Clear();
    device.GetSettings().Batching = false;
    list.Render(&device);
    EXPECT_EQ(device.Count("Draw("), 100u);
    device.Clear();
    device.GetSettings().Batching = true;
    Parts few(ModelBatch::kMinParts - 1);
    few.Fill(list);
    list.Render(&device);
    EXPECT_EQ(device.Count("Draw("), ModelBatch::kMinParts - 1);
}

TEST(RenderList, StretchesBeyondOneBatchSplitIntoSeveral)
{
    // 800 parts of the largest size merged: more vertices than one batch
    // holds, so the first batch is full and the rest make a second one.
    auto material = MeshPhongMaterial::Create("part");
    float corners[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    auto positions = std::make_shared<BufferAttribute>(corners, 9, 3u);
    auto index = std::make_shared<ElementAttribute>(std::vector<uint32_t>(ModelBatch::kMaxPartVertices, 0u));
    std::vector<std::shared_ptr<PrimitiveShape>> shapes;
    RenderList list;
    for (int i = 0; i < 800; ++i) {
        auto geometry = std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES);
        geometry->SetAttribute(ATTRIBUTE_POSITION, positions);
        geometry->SetIndex(index);
        shapes.push_back(std::make_shared<PrimitiveShape>(geometry, material));
        list.AddItem(shapes.back().get(), nullptr, glm::mat4(1.0f), float(i));
    }
    MergingDevice device;
    list.Render(&device);
    EXPECT_EQ(device.Count("Draw("), 2u);
    const std::size_t perBatch = ModelBatch::kMaxVertices / ModelBatch::kMaxPartVertices;
    // A part takes the room of its elements, the larger count; its three
    // vertices are merged once.
    EXPECT_EQ(device.last->GetGeometry()->GetElementCount(), (800 - perBatch) * ModelBatch::kMaxPartVertices);
    EXPECT_EQ(device.last->GetGeometry()->GetPositions()->GetCount(), (800 - perBatch) * 3);
}
