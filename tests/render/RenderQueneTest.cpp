#include <orvcore/pick/PickedItem.h>
#include <orvcore/render/ModelRenderContext.h>
#include <orvcore/render/PrepareSelectionVisitor.h>
#include <orvcore/render/RenderQuene.h>
#include <orvcore/render/RenderStyle.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include <tuple>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>
#include <orvkernel/light/LightManager.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/LineDashedMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>

#include "LogCapture.h"
#include "RecordingDevice.h"
#include "ShapeFactory.h"
#include "TestNodes.h"

using namespace orvcore;
using L = EnumRenderListIndex;
using Texts = std::vector<std::string>;

namespace {

std::shared_ptr<PrimitiveShape> Shape(EnumPrimitiveType type, const std::shared_ptr<MaterialInstance>& material)
{
    auto p = orvtest::Primitive(type, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    p->SetMaterial(material);
    return p;
}

std::shared_ptr<MaterialInstance> Transparent(const char* name)
{
    auto m = MeshPhongMaterial::Create(name);
    m->BlendingMode = BLENDING_TRANSPARENT;
    return m;
}

std::string DrawOf(const std::shared_ptr<PrimitiveShape>& p)
{
    return "Draw(" + std::to_string(p->GetObjectId()) + ")";
}

} // namespace

TEST(RenderItem, DistanceIsScaledByThePrimitivesOwnMaterial)
{
    auto opaque = Shape(PRIMITIVE_TRIANGLES, MeshPhongMaterial::Create("opaque"));
    auto clear = Shape(PRIMITIVE_TRIANGLES, Transparent("clear"));
    auto bare = Shape(PRIMITIVE_TRIANGLES, nullptr);
    auto exempt = Shape(PRIMITIVE_TRIANGLES, MeshPhongMaterial::Create("exempt"));
    exempt->GetMaterial()->OrderExempt = true;

    EXPECT_FLOAT_EQ(RenderItem(opaque.get(), nullptr, glm::mat4(1.0f), 5.0f).GetDistance(), 0.05f);
    EXPECT_FLOAT_EQ(RenderItem(clear.get(), nullptr, glm::mat4(1.0f), 5.0f).GetDistance(), 500.0f);
    EXPECT_FLOAT_EQ(RenderItem(bare.get(), nullptr, glm::mat4(1.0f), 5.0f).GetDistance(), 5.0f);
    EXPECT_FLOAT_EQ(RenderItem(exempt.get(), nullptr, glm::mat4(1.0f), 5.0f).GetDistance(), 5.0f);
    // The override material plays no part in the scaling.
    auto override = Transparent("override");
    EXPECT_FLOAT_EQ(RenderItem(opaque.get(), override.get(), glm::mat4(1.0f), 5.0f).GetDistance(), 0.05f);
}

TEST(ModelRenderContext, RoutesByTypeAndEffectiveMaterial)
{
    orvtest::LogCapture log;
    RenderQuene queue;
    ModelRenderContext context(nullptr, &queue);
    auto opaqueFace = Shape(PRIMITIVE_TRIANGLES, MeshPhongMaterial::Create("opaque"));
    auto bareFace = Shape(PRIMITIVE_TRIANGLES, nullptr);
    auto override = Transparent("override");

    auto add = [&](const std::shared_ptr<PrimitiveShape>& p, MaterialInstance* m) {
        RenderItem item(p.get(), m, glm::mat4(1.0f), 1.0f);
        context.AddItem(item);
    };
    add(opaqueFace, override.get()); // transparent through the override...
    add(bareFace, nullptr);          // no material at all: an opaque face
    for (auto type : {PRIMITIVE_LINES, PRIMITIVE_LINE_LOOP, PRIMITIVE_LINE_STRIP})
        add(Shape(type, nullptr), nullptr);
    add(Shape(PRIMITIVE_POINTS, nullptr), nullptr);
    add(Shape(PRIMITIVE_TRIANGLE_STRIP, nullptr), nullptr); // unsupported here

    EXPECT_EQ(queue.GetRenderList(L::TransparentFace).GetItemCount(), 1u);
    // ...but scaled by its own, opaque material.
    EXPECT_FLOAT_EQ(queue.GetRenderList(L::TransparentFace).GetAt(0).GetDistance(), 0.01f);
    EXPECT_EQ(queue.GetRenderList(L::Face).GetItemCount(), 1u);
    EXPECT_FLOAT_EQ(queue.GetRenderList(L::Face).GetAt(0).GetDistance(), 1.0f);
    EXPECT_EQ(queue.GetRenderList(L::Line).GetItemCount(), 3u);
    EXPECT_EQ(queue.GetRenderList(L::Point).GetItemCount(), 1u);
    EXPECT_EQ(log.warnings, Texts{"Not support shape type!"});
}

TEST(RenderQuene, SortsFacesKeepsLinesAndReusesStorage)
{
    RenderQuene queue;
    auto face = Shape(PRIMITIVE_TRIANGLES, nullptr);
    auto line = Shape(PRIMITIVE_LINES, nullptr);
    for (float d : {3.0f, 1.0f, 2.0f}) {
        queue.GetRenderList(L::Face).AddItem(face.get(), nullptr, glm::mat4(1.0f), d);
        queue.GetRenderList(L::TransparentFace).AddItem(face.get(), nullptr, glm::mat4(1.0f), d);
        queue.GetRenderList(L::Line).AddItem(line.get(), nullptr, glm::mat4(1.0f), d);
    }
    queue.Sort();
    auto distances = [&](L::Enum index) {
        std::vector<float> out;
        const RenderList& list = queue.GetRenderList(index);
        for (std::size_t i = 0; i < list.GetItemCount(); ++i)
            out.push_back(list.GetAt(i).GetDistance());
        return out;
    };
    EXPECT_EQ(distances(L::Face), (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(distances(L::TransparentFace), (std::vector<float>{3, 2, 1}));
    EXPECT_EQ(distances(L::Line), (std::vector<float>{3, 1, 2})); // collection order

    const std::size_t capacity = queue.GetRenderList(L::Face).GetCapacity();
    queue.Reset();
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_FLOAT_EQ(queue.GetRenderList(L::Face).GetAt(0).GetDistance(), 1.0f); // storage kept
    queue.GetRenderList(L::Face).AddItem(face.get(), nullptr, glm::mat4(1.0f), 9.0f);
    EXPECT_EQ(queue.GetRenderList(L::Face).GetCapacity(), capacity);
    EXPECT_FLOAT_EQ(queue.GetRenderList(L::Face).GetAt(0).GetDistance(), 9.0f);
}

TEST(RenderQuene, DrawOrdersOffsetsAndActivations)
{
    orvtest::RecordingDevice device;
    RenderStyle style;
    style.InitializeForModel();
    RenderQuene queue;
    queue.Initialize(style);

    auto faceMaterial = MeshPhongMaterial::Create("own.face");
    auto face = Shape(PRIMITIVE_TRIANGLES, faceMaterial);
    auto bareFace = Shape(PRIMITIVE_TRIANGLES, nullptr);
    auto line = Shape(PRIMITIVE_LINES, nullptr);
    auto point = Shape(PRIMITIVE_POINTS, nullptr);
    auto clear = Shape(PRIMITIVE_TRIANGLES, Transparent("own.clear"));
    auto edgeOverride = BasicMaterial::Create("override.edge");
    ModelRenderContext context(nullptr, &queue);
    for (auto [p, m] : std::vector<std::pair<std::shared_ptr<PrimitiveShape>, MaterialInstance*>>{
             {face, nullptr}, {bareFace, nullptr}, {line, edgeOverride.get()}, {point, nullptr}, {clear, nullptr}}) {
        RenderItem item(p.get(), m, glm::mat4(1.0f), 1.0f);
        context.AddItem(item);
    }

    queue.Render(&device);
    EXPECT_EQ(device.CallsWithout("SetUniform"),
              (Texts{"SetPolygonOffset(1,1,1)", "_ActiveMaterial(own.face)", DrawOf(face),
                     "_ActiveMaterial(sys.opacity)", DrawOf(bareFace), "SetPolygonOffset(0,0,0)",
                     "_ActiveMaterial(override.edge)", DrawOf(line), "_ActiveMaterial(sys.point)", DrawOf(point),
                     "_ActiveMaterial(own.clear)", DrawOf(clear)}));

    // With lights, faces go through the light manager (which activates through the device).
    device.Clear();
    LightManager lights;
    queue.Render(&device, &lights);
    EXPECT_EQ(device.Count("SetPolygonOffset"), 2u);
    EXPECT_EQ(device.Count("Draw("), 5u);

    // An override material: activated once, all lists in index order, no offsets.
    device.Clear();
    auto depth = MeshPhongMaterial::Create("depth.override");
    queue.Render(&device, nullptr, depth.get());
    EXPECT_EQ(device.CallsWithout("SetUniform"), (Texts{"_ActiveMaterial(depth.override)", DrawOf(line), DrawOf(point),
                                                        DrawOf(face), DrawOf(bareFace), DrawOf(clear)}));

    // Default materials: once per list; a list without one is skipped with a warning.
    device.Clear();
    orvtest::LogCapture log;
    queue.RenderWithDefaultMaterial(&device);
    EXPECT_EQ(device.CallsWithout("SetUniform"),
              (Texts{"ActiveMaterial(sys.line)", DrawOf(line), "ActiveMaterial(sys.point)", DrawOf(point),
                     "ActiveMaterial(sys.opacity)", DrawOf(face), DrawOf(bareFace)}));
    EXPECT_EQ(log.warnings, Texts{"Default material is null!"});
}

TEST(RenderStyle, ModelSelectionAndHilightMaterials)
{
    RenderStyle model, selection, hilight;
    EXPECT_FALSE(model.GetMaterial(L::Face));
    model.InitializeForModel();
    selection.InitializeForSelection();
    hilight.InitializeForHilight();
    // Sizes (point size, line width or opacity) and see-through faces; the
    // names are checked by the frames drawn on the recording device.
    const struct {
        const RenderStyle* style;
        L::Enum list;
        float size;
    } cases[] = {{&model, L::Line, 1},     {&model, L::Point, 10},           {&model, L::Face, 1},
                 {&selection, L::Line, 3}, {&selection, L::Point, 8},        {&selection, L::TransparentFace, 0.6f},
                 {&hilight, L::Line, 3},   {&hilight, L::Point, 7},          {&hilight, L::TransparentFace, 0.5f}};
    for (const auto& c : cases) {
        const auto& m = c.style->GetMaterial(c.list);
        ASSERT_TRUE(m);
        const float size = c.list == L::Point  ? m->GetPointSize()
                           : c.list == L::Line ? float(m->LineWidth)
                                               : m->GetOpacity();
        EXPECT_FLOAT_EQ(size, c.size) << m->GetName();
        EXPECT_EQ(m->IsTransparent(), c.list == L::TransparentFace) << m->GetName();
    }
    // (Their colours are in the golden frames.)
    EXPECT_NE(LineDashedMaterial::Cast(model.GetMaterial(L::Line).get()), nullptr);
    EXPECT_EQ(model.GetMaterial(L::Face)->GetFaceSide(), uint32_t(FACE_DOUBLE));
    EXPECT_FALSE(model.GetMaterial(L::TransparentFace) || selection.GetMaterial(L::Face));
    EXPECT_FALSE(selection.GetMaterial(L::Point)->OrderExempt);
    EXPECT_NE(hilight.GetMaterial(L::TransparentFace), selection.GetMaterial(L::TransparentFace));
}

TEST(PrepareSelectionVisitor, PickedMembersHiddenNodesAndFrustum)
{
    auto a = orvtest::Square(0, 0, 0, 1), b = orvtest::Square(0, 0, 1, 1);
    auto shape = std::make_shared<ShapeSceneNode>(
        std::make_shared<CompoundShape>(std::vector<std::shared_ptr<PrimitiveShape>>{a, b}));
    shape->SetVisible(false); // hidden nodes are drawn when selected
    auto far = std::make_shared<PrimitiveSceneNode>(orvtest::Square(9000, 0, 0, 1));
    auto root = orvtest::Root({shape, far});

    orvtest::RecordingContext context(orvtest::TopCamera(false));
    PrepareSelectionVisitor visitor(context);
    IntersectPoint face(SHAPE_FILTER_FACE, 0, glm::vec3(0.0f), 0.0f);
    face.SetShapeIndex(1);
    visitor.Apply(PickedItem(shape.get(), face));
    const auto primitives = [&] {
        std::vector<PrimitiveShape*> found;
        for (const RenderItem& item : context.items)
            found.push_back(item.GetPrimitive());
        return found;
    };
    EXPECT_EQ(primitives(), std::vector<PrimitiveShape*>{b.get()});
    context.items.clear();
    visitor.Apply(PickedItem(shape.get(), IntersectPoint(SHAPE_FILTER_NONE, 0, glm::vec3(0.0f), 0.0f)));
    EXPECT_EQ(primitives(), (std::vector<PrimitiveShape*>{a.get(), b.get()}));
    context.items.clear();
    visitor.Apply(PickedItem(far.get(), IntersectPoint(SHAPE_FILTER_FACE, 0, glm::vec3(0.0f), 0.0f)));
    EXPECT_TRUE(context.items.empty());
}

namespace {

// Records runs as "Instanced(<primitive id>,<count>)" and says it takes them.
class InstancingDevice : public orvtest::RecordingDevice {
public:
    bool SupportsInstancing() const override { return true; }
    void DrawInstanced(PrimitiveShape* p, const glm::mat4* transforms, uint32_t count) override
    {
        calls.push_back("Instanced(" + std::to_string(p->GetObjectId()) + "," + std::to_string(count) + ")");
        for (uint32_t i = 0; i < count; ++i)
            xs.push_back(transforms[i][3][0]);
    }
    std::vector<float> xs; // translation x of every instance, in draw order
};

} // namespace

TEST(RenderList, RunsOfOneGeometryAndMaterialGoToTheDeviceInListOrder)
{
    InstancingDevice device;
    RenderStyle style;
    style.InitializeForModel();
    RenderQuene queue;
    queue.Initialize(style);
    auto grey = MeshPhongMaterial::Create("grey");
    auto red = MeshPhongMaterial::Create("red");
    auto box = Shape(PRIMITIVE_TRIANGLES, grey);
    auto twin = Shape(PRIMITIVE_TRIANGLES, grey); // another primitive of the same geometry
    twin->SetGeometry(box->GetGeometry());
    auto other = Shape(PRIMITIVE_TRIANGLES, grey); // same material, own geometry
    auto clear = Shape(PRIMITIVE_TRIANGLES, Transparent("clear"));
    ModelRenderContext context(nullptr, &queue);
    // Face keys rise with x: box, twin, box (red override), box, other; two see-through.
    const std::vector<std::tuple<std::shared_ptr<PrimitiveShape>, MaterialInstance*, float>> items{
        {box, nullptr, 1}, {twin, nullptr, 2}, {box, red.get(), 3}, {box, nullptr, 4},
        {other, nullptr, 5}, {clear, nullptr, 6}, {clear, nullptr, 7}};
    for (const auto& [p, m, x] : items) {
        RenderItem item(p.get(), m, glm::translate(glm::mat4(1.0f), glm::vec3(x, 0, 0)), x);
        context.AddItem(item);
    }
    queue.Sort();
    queue.Render(&device);
    const std::string boxRun = "Instanced(" + std::to_string(box->GetObjectId()) + ",2)";
    EXPECT_EQ(device.CallsWithout("SetUniform"),
              (Texts{"SetPolygonOffset(1,1,1)", "_ActiveMaterial(grey)", boxRun, "_ActiveMaterial(red)", DrawOf(box),
                     "_ActiveMaterial(grey)", DrawOf(box), "_ActiveMaterial(grey)", DrawOf(other),
                     "SetPolygonOffset(0,0,0)", "_ActiveMaterial(clear)", DrawOf(clear), "_ActiveMaterial(clear)",
                     DrawOf(clear)}));
    EXPECT_EQ(device.xs, (std::vector<float>{1, 2}));

    // The same with lights: one activation per run through the light manager.
    device.Clear();
    device.xs.clear();
    LightManager lights;
    queue.Render(&device, &lights);
    EXPECT_EQ(device.Count("Instanced("), 1u);
    EXPECT_EQ(device.Count("Draw("), 5u);
    EXPECT_EQ(device.xs, (std::vector<float>{1, 2}));
}
