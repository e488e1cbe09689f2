#include <orvcore/pick/PickedItem.h>
#include <orvcore/render/PrepareSelectionVisitor.h>
#include <orvcore/render/RenderContext.h>
#include <orvcore/render/RenderStyle.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include <gtest/gtest.h>
#include <orvkernel/material/LineDashedMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>

#include "Expect.h"
#include "ShapeFactory.h"
#include "TestNodes.h"

using namespace orvcore;
using L = EnumRenderListIndex;

namespace {

class Collector : public RenderContext {
public:
    explicit Collector(const std::shared_ptr<Camera>& camera) : RenderContext(camera) {}
    void AddItem(RenderItem& item) override { items.push_back(item.GetPrimitive()); }
    std::vector<PrimitiveShape*> items;
};

} // namespace

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
    EXPECT_VEC(model.GetMaterial(L::Face)->GetColor() * 255.0f, glm::vec3(220, 230, 240), 1e-3f);
    EXPECT_VEC(selection.GetMaterial(L::Line)->GetColor() * 255.0f, glm::vec3(24, 65, 248), 1e-3f);
    EXPECT_VEC(hilight.GetMaterial(L::Point)->GetColor() * 255.0f, glm::vec3(25, 38, 93), 1e-3f);
    EXPECT_NE(LineDashedMaterial::Cast(model.GetMaterial(L::Line).get()), nullptr);
    EXPECT_EQ(model.GetMaterial(L::Face)->GetShininess(), 50.0f);
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

    Collector context(orvtest::TopCamera(false));
    PrepareSelectionVisitor visitor(context);
    IntersectPoint face(SHAPE_FILTER_FACE, 0, glm::vec3(0.0f), 0.0f);
    face.SetShapeIndex(1);
    visitor.Apply(PickedItem(shape.get(), face));
    EXPECT_EQ(context.items, std::vector<PrimitiveShape*>{b.get()});
    context.items.clear();
    visitor.Apply(PickedItem(shape.get(), IntersectPoint(SHAPE_FILTER_NONE, 0, glm::vec3(0.0f), 0.0f)));
    EXPECT_EQ(context.items, (std::vector<PrimitiveShape*>{a.get(), b.get()}));
    context.items.clear();
    visitor.Apply(PickedItem(far.get(), IntersectPoint(SHAPE_FILTER_FACE, 0, glm::vec3(0.0f), 0.0f)));
    EXPECT_TRUE(context.items.empty());
}
