#include <orvcore/pick/PickedItem.h>
#include <orvcore/render/PrepareSelectionVisitor.h>
#include <orvcore/render/RenderContext.h>
#include <orvcore/render/RenderStyle.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include <gtest/gtest.h>
#include <orvkernel/material/LineDashedMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/PointsMaterial.h>

#include "ShapeFactory.h"

using namespace orvcore;
using L = EnumRenderListIndex;

namespace {

void ExpectColor(const std::shared_ptr<MaterialInstance>& m, float r, float g, float b)
{
    ASSERT_TRUE(m);
    EXPECT_NEAR(m->GetColor().r, r / 255.0f, 1e-6f);
    EXPECT_NEAR(m->GetColor().g, g / 255.0f, 1e-6f);
    EXPECT_NEAR(m->GetColor().b, b / 255.0f, 1e-6f);
}

class Collector : public RenderContext {
public:
    explicit Collector(const std::shared_ptr<Camera>& camera) : RenderContext(camera) {}
    void AddItem(RenderItem& item) override { items.push_back(item.GetPrimitive()); }
    std::vector<PrimitiveShape*> items;
};

} // namespace

TEST(RenderStyle, ModelSelectionAndHilightMaterials)
{
    RenderStyle model;
    for (int i = 0; i < L::Count; ++i)
        EXPECT_FALSE(model.GetMaterial(static_cast<L::Enum>(i)));
    model.InitializeForModel();
    EXPECT_EQ(model.GetMaterial(L::Line)->GetName(), "sys.line");
    EXPECT_NE(LineDashedMaterial::Cast(model.GetMaterial(L::Line).get()), nullptr);
    EXPECT_EQ(model.GetMaterial(L::Line)->LineWidth, 1);
    EXPECT_EQ(model.GetMaterial(L::Point)->GetName(), "sys.point");
    EXPECT_EQ(model.GetMaterial(L::Point)->GetPointSize(), 10.0f);
    EXPECT_EQ(model.GetMaterial(L::Point)->GetColor(), glm::vec3(1.0f, 0.9f, 0.9f));
    EXPECT_EQ(model.GetMaterial(L::Face)->GetName(), "sys.opacity");
    EXPECT_EQ(model.GetMaterial(L::Face)->GetShininess(), 50.0f);
    EXPECT_EQ(model.GetMaterial(L::Face)->GetFaceSide(), uint32_t(FACE_DOUBLE));
    ExpectColor(model.GetMaterial(L::Face), 220, 230, 240);
    EXPECT_FALSE(model.GetMaterial(L::TransparentFace));

    RenderStyle selection, hilight;
    selection.InitializeForSelection();
    hilight.InitializeForHilight();
    EXPECT_EQ(selection.GetMaterial(L::Line)->GetName(), "sys.selection.edge");
    EXPECT_EQ(selection.GetMaterial(L::Line)->LineWidth, 3);
    ExpectColor(selection.GetMaterial(L::Line), 24, 65, 248);
    EXPECT_EQ(selection.GetMaterial(L::Point)->GetName(), "sys.selection.point");
    EXPECT_EQ(selection.GetMaterial(L::Point)->GetPointSize(), 8.0f);
    EXPECT_FALSE(selection.GetMaterial(L::Point)->OrderExempt);
    EXPECT_FALSE(selection.GetMaterial(L::Face));
    EXPECT_EQ(selection.GetMaterial(L::TransparentFace)->GetName(), "sys.pick.face");
    EXPECT_FLOAT_EQ(selection.GetMaterial(L::TransparentFace)->GetOpacity(), 0.6f);
    EXPECT_TRUE(selection.GetMaterial(L::TransparentFace)->IsTransparent());

    EXPECT_EQ(hilight.GetMaterial(L::Line)->GetName(), "sys.hilight.edge");
    ExpectColor(hilight.GetMaterial(L::Point), 25, 38, 93);
    EXPECT_EQ(hilight.GetMaterial(L::Point)->GetPointSize(), 7.0f);
    EXPECT_FLOAT_EQ(hilight.GetMaterial(L::TransparentFace)->GetOpacity(), 0.5f);
    // Same name, separate instances.
    EXPECT_EQ(hilight.GetMaterial(L::TransparentFace)->GetName(), "sys.pick.face");
    EXPECT_NE(hilight.GetMaterial(L::TransparentFace), selection.GetMaterial(L::TransparentFace));
}

TEST(PrepareSelectionVisitor, PickedMembersHiddenNodesAndFrustum)
{
    auto camera = std::make_shared<Camera>(200, 200, glm::vec3(0, 0, 100), glm::vec3(0.0f), glm::vec3(0, 1, 0));
    auto a = orvtest::Square(0, 0, 0, 1), b = orvtest::Square(0, 0, 1, 1);
    auto shape = std::make_shared<ShapeSceneNode>(
        std::make_shared<CompoundShape>(std::vector<std::shared_ptr<PrimitiveShape>>{a, b}));
    shape->SetVisible(false); // hidden nodes are drawn when selected
    shape->UpdateTransform(glm::mat4(1.0f));
    auto far = std::make_shared<PrimitiveSceneNode>(orvtest::Square(9000, 0, 0, 1));
    far->UpdateTransform(glm::mat4(1.0f));

    Collector context(camera);
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
