#include <orvcommon/Math.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/text/FontMaterial.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/scene/TagNode2D.h>

#include <gtest/gtest.h>

#include "Expect.h"
#include "LogCapture.h"
#include "ShapeFactory.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::LogCapture;
using Texts = std::vector<std::string>;

namespace {

std::shared_ptr<TextSceneNode> Label(const std::wstring& text, bool billboard = false, float background = -1.0f)
{
    return std::make_shared<TextSceneNode>(text, 2.0f, glm::vec3(0, 1, 0), glm::vec3(background, 0, 0), billboard);
}

std::shared_ptr<TextSceneNode> MeshText(const std::wstring& text, float height = 1.0f, bool fit = false)
{
    return TextSceneNode::Create(text, glm::vec3(1.0f), height, fit);
}

FontMaterial* FontOf(const TextSceneNode& node) { return FontMaterial::Cast(node.GetMaterial().get()); }

glm::mat4 Scale2D(float s) { return glm::scale(glm::mat4(1.0f), glm::vec3(s, s, 1.0f)); }

// Where a node's world transform puts a point of its own space.
glm::vec3 World(const SceneNode& node, const glm::vec3& p) { return Math::transformVec3(node.GetWorldTransform(), p); }

// A camera over a width x 100 viewport, 20 units above `target`, looking down -Z.
std::shared_ptr<Camera> ViewCamera(const glm::vec3& target = glm::vec3(0.0f), unsigned int width = 200)
{
    return std::make_shared<Camera>(width, 100, target + glm::vec3(0, 0, 20), target, glm::vec3(0, 1, 0));
}

} // namespace

TEST(TextSceneNode, TextureFormHasItsOwnMaterialAndKeepsItsRectangle)
{
    LogCapture log;
    auto node = Label(L"ab");
    FontMaterial* material = FontOf(*node);
    ASSERT_NE(material, nullptr);
    EXPECT_EQ(material->GetColor(), glm::vec3(0, 1, 0));
    const AxisAlignedBox box = node->GetBoundingBox();
    const auto& image = *material->GetImage();
    EXPECT_EQ(box, AxisAlignedBox(glm::vec3(-float(image.GetWidth()) / float(image.GetHeight()), -1, 0),
                                  glm::vec3(float(image.GetWidth()) / float(image.GetHeight()), 1, 0)));

    // New text is stretched into the same rectangle.
    const uint32_t version = material->GetUpdateVersion();
    const unsigned int width = image.GetWidth();
    node->SetText(L"a much longer text");
    EXPECT_GT(material->GetUpdateVersion(), version);
    EXPECT_GT(material->GetImage()->GetWidth(), 3 * width);
    EXPECT_EQ(node->GetBoundingBox(), box);

    // Billboards are never picked; a negative background is none, 0 is black.
    EXPECT_TRUE(node->GetPickable());
    EXPECT_FALSE(material->GetBillboard() || material->HasBackground());
    auto billboard = Label(L"B", true, 0.0f);
    EXPECT_FALSE(billboard->GetPickable());
    EXPECT_TRUE(FontOf(*billboard)->GetBillboard() && FontOf(*billboard)->HasBackground());
    EXPECT_EQ(FontOf(*billboard->CloneTextSceneNode()), FontOf(*billboard)); // clones share the material

    // A font height that is no size gives an empty rectangle, still a text node.
    auto bad = std::make_shared<TextSceneNode>(L"x", NAN, glm::vec3(1.0f), glm::vec3(-1.0f), false);
    EXPECT_EQ(bad->GetBoundingBox().getSize(), glm::vec3(0.0f));
    EXPECT_NE(FontOf(*bad), nullptr);
    EXPECT_EQ(log.warnings, Texts{"Geometry size must be finite and not negative!"});
}

TEST(TextSceneNode, MeshFormFitsGlyphsToTheFontHeight)
{
    // A mesh two units high, font height 10: scaled by 5 in X and Y, not in Z.
    auto fitted = std::make_shared<TextSceneNode>(orvtest::Square(3, 0, 0, 1), 10.0f, true);
    EXPECT_EQ(fitted->GetScale(), Scale2D(5.0f));
    EXPECT_EQ(fitted->GetTransform(), Scale2D(5.0f));
    auto unfitted = std::make_shared<TextSceneNode>(orvtest::Square(3, 0, 0, 1), 10.0f, false);
    EXPECT_EQ(unfitted->GetTransform(), glm::mat4(1.0f));
    // Clones share the primitive and keep height, scale and transform.
    fitted->SetUserId(77);
    const std::shared_ptr<SceneNode> holder = static_cast<const SceneNode&>(*fitted).Clone();
    auto* copy = TextSceneNode::Cast(holder.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::make_tuple(copy->GetPrimitive(), copy->GetFontHeight(), copy->GetTransform(), copy->GetUserId()),
              std::make_tuple(fitted->GetPrimitive(), 10.0f, Scale2D(5.0f), uint64_t(77)));

    auto text = MeshText(L"Hello", 3.0f, true);
    ASSERT_NE(BasicMaterial::Cast(text->GetMaterial().get()), nullptr);
    EXPECT_EQ(text->GetMaterial()->GetName(), "mesh-font-phong");
    text->UpdateTransform(glm::mat4(1.0f));
    EXPECT_NEAR(text->GetWorldBBox().getSize().y, 3.0f, 1e-4f);
    EXPECT_GT(text->GetWorldBBox().getSize().x, 6.0f);

    // Nothing to fit in an empty string; flat meshes and bad heights cannot be
    // fitted; a mesh has no font material to take new text.
    LogCapture log;
    EXPECT_EQ(MeshText(L"", 5.0f, true)->GetScale(), glm::mat4(1.0f));
    auto flat = orvtest::Primitive(PRIMITIVE_LINES, {{0, 0, 0}, {1, 0, 0}});
    EXPECT_EQ(std::make_shared<TextSceneNode>(flat, 5.0f, true)->GetScale(), glm::mat4(1.0f));
    for (float height : {NAN, 0.0f, -4.0f})
        EXPECT_EQ(std::make_shared<TextSceneNode>(orvtest::Square(0, 0, 0, 1), height, true)->GetTransform(),
                  glm::mat4(1.0f));
    const uint32_t version = text->GetMaterial()->GetUpdateVersion();
    text->SetText(L"Other");
    EXPECT_EQ(text->GetMaterial()->GetUpdateVersion(), version);
    Texts expected(4, "Text cannot be fitted to its font height!");
    expected.push_back("Material is null!");
    EXPECT_EQ(log.warnings, expected);
}

TEST(Scene2D, NodesByObjectIdUpdatedOnAdd)
{
    Scene2D scene;
    auto leaf = orvtest::MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    leaf->SetTransform(orvtest::Translate(5, 6, 0));
    auto node = std::make_shared<SceneNode2D>(leaf);
    EXPECT_EQ(scene.AddNode(node), node->GetObjectId());
    EXPECT_EQ(leaf->GetWorldBBox().getCenter(), glm::vec3(5.5f, 6.5f, 0.5f));
    scene.AddNode(node); // replaces its own entry
    const uint32_t other = scene.AddNode(std::make_shared<SceneNode2D>());
    EXPECT_EQ(scene.GetNodes().size(), 2u);
    EXPECT_TRUE(scene.RemoveNode(other));
    EXPECT_FALSE(scene.RemoveNode(other));
    EXPECT_EQ(scene.GetNodes().at(node->GetObjectId()), node);

    LogCapture log;
    EXPECT_EQ(scene.AddNode(nullptr), 0u);
    EXPECT_EQ(log.warnings, Texts{"Node is null!"});
}

TEST(TagNode2D, FollowsItsWorldPositionAsTheCameraMoves)
{
    auto text = MeshText(L"follow", 20.0f, true);
    auto tag = TagNode2D::Create(text, glm::vec3(2, 1, 0), glm::vec3(0.0f));
    auto camera = ViewCamera();
    tag->UpdatePosition(camera);
    const glm::vec3 first = tag->GetViewportPosition();
    const glm::vec3 projected = CameraOperator::WorldPointToViewportPoint(camera, glm::vec3(2, 1, 0));
    EXPECT_VEC(first, projected - glm::vec3(100, 50, 0), 1e-3f);
    EXPECT_GT(first.x, 10.0f);
    // Label at the position with its own scale; leader from the centre (the target) to it.
    EXPECT_EQ(text->GetTransform(), glm::translate(glm::mat4(1.0f), first) * Scale2D(text->GetScale()[0][0]));
    const auto& handle = *tag->GetHandleNode();
    EXPECT_NEAR(World(handle, glm::vec3(0.0f)).x, 0.0f, 1e-3f);
    EXPECT_VEC(World(handle, glm::vec3(1, 0, 0)), first, 1e-3f);
    EXPECT_EQ(tag->GetNode()->GetUpdateVersion(), 0u);

    // Looking 2 units to the right mirrors the picture about the centre line.
    camera->LookAt(glm::vec3(2, 0, 20), glm::vec3(2, 0, 0), glm::vec3(0, 1, 0));
    tag->UpdatePosition(camera);
    EXPECT_NEAR(tag->GetViewportPosition().x, 0.0f, 1e-3f);
    EXPECT_NEAR(World(handle, glm::vec3(0.0f)).x, -first.x, 1e-2f);
    EXPECT_VEC(World(*text, glm::vec3(0.0f)), tag->GetViewportPosition(), 1e-3f);

    // The centre is at the integer half size: 201 pixels put the middle at +0.5.
    tag->SetPosition(glm::vec3(0.0f), true);
    tag->UpdatePosition(ViewCamera(glm::vec3(0.0f), 201));
    EXPECT_NEAR(tag->GetViewportPosition().x, 0.5f, 1e-3f);
}

TEST(TagNode2D, ViewportOffsetAndHiddenHandle)
{
    auto text = MeshText(L"fixed");
    auto tag = TagNode2D::Create(text, glm::vec3(30, -20, 0), glm::vec3(0.0f));
    tag->SetWorldPosition(false); // the same value, now read as pixels from the centre
    auto camera = ViewCamera(glm::vec3(5, 5, 0));
    tag->UpdatePosition(camera);
    EXPECT_EQ(tag->GetViewportPosition(), glm::vec3(30, -20, 0));
    EXPECT_VEC(World(*text, glm::vec3(0.0f)), glm::vec3(30, -20, 0), 1e-3f);
    const auto& handle = *tag->GetHandleNode();
    EXPECT_LT(World(handle, glm::vec3(0.0f)).x, -1.0f); // the world target is off-centre now

    // A hidden handle keeps its line while the label moves on.
    const glm::mat4 line = handle.GetTransform();
    tag->GetHandleNode()->SetVisible(false);
    tag->SetPosition(glm::vec3(-50, 10, 0), false);
    camera->LookAt(glm::vec3(-3, 2, 20), glm::vec3(-3, 2, 0), glm::vec3(0, 1, 0));
    tag->UpdatePosition(camera);
    EXPECT_EQ(handle.GetTransform(), line);
    EXPECT_VEC(World(*text, glm::vec3(0.0f)), glm::vec3(-50, 10, 0), 1e-3f);
    tag->GetHandleNode()->SetVisible(true);
    tag->UpdatePosition(camera);
    EXPECT_VEC(World(handle, glm::vec3(1, 0, 0)), glm::vec3(-50, 10, 0), 1e-3f);
}

TEST(TagNode2D, LineStyleAndMissingPartsWarn)
{
    LogCapture log;
    auto tag = TagNode2D::Create(MeshText(L"w"), glm::vec3(1.0f), glm::vec3(0.0f));
    MaterialInstance& material = *tag->GetHandleNode()->GetMaterial();
    tag->SetLineColor(glm::vec3(0, 0.5f, 1));
    EXPECT_EQ(material.GetColor(), glm::vec3(0, 0.5f, 1));
    const uint32_t version = material.GetUpdateVersion();
    tag->SetLineWidth(2.9f);
    EXPECT_EQ(material.LineWidth, 2u);
    EXPECT_GT(material.GetUpdateVersion(), version);
    tag->SetLineWidth(1000.0f);
    EXPECT_EQ(material.LineWidth, 255u);
    tag->SetLineWidth(NAN);
    EXPECT_EQ(material.LineWidth, 0u);

    TagNode2D noHandle(MeshText(L"t"), nullptr);
    ASSERT_TRUE(noHandle.GetNode());
    noHandle.SetLineColor(glm::vec3(0.0f));
    noHandle.UpdatePosition(ViewCamera());
    noHandle.UpdatePosition(nullptr);
    EXPECT_EQ(log.warnings, (Texts{"Line width is out of range!", "Line width is out of range!", "SceneNode is null!",
                                   "Material is null!", "Camera is null!"}));
    TagNode2D bare(nullptr, nullptr); // needs a text to draw
    EXPECT_FALSE(bare.GetNode());
}
