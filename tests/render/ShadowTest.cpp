// The shadow renderers on the recording device: which kind a renderer makes,
// which nodes cast, and the passes of a contact shadow and of light shadows.
#include <algorithm>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/ContactShadowRender.h>
#include <orvcore/render/LightsShadowRender.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include "LogCapture.h"
#include "RecordingDevice.h"
#include "ShapeFactory.h"

using namespace orvcore;
using Calls = std::vector<std::string>;

namespace {

std::string DrawOf(const PrimitiveShape* p) { return "Draw(" + std::to_string(p->GetObjectId()) + ")"; }

std::shared_ptr<PrimitiveShape> Solid(const glm::vec3& size, bool transparent = false)
{
    auto paint = MeshPhongMaterial::Create(transparent ? "shadow.glass" : "shadow.solid");
    if (transparent)
        paint->BlendingMode = BLENDING_TRANSPARENT;
    return std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(size), paint);
}

struct View {
    explicit View(bool contact, bool lights = false)
    {
        device.GetSettings().ContactShadow = contact;
        device.GetSettings().Shadow = lights;
        manager = std::make_shared<SceneManager>(400, 300);
        manager->SetCoodinateGrid(nullptr);
        renderer.Initialize(manager);
        renderer.SetViewCondinateType(NoWidget);
    }
    std::shared_ptr<PrimitiveSceneNode> Add(const std::shared_ptr<PrimitiveShape>& shape, const glm::vec3& at)
    {
        auto node = std::make_shared<PrimitiveSceneNode>(shape);
        node->SetTransform(glm::translate(glm::mat4(1.0f), at));
        manager->GetScene()->AddNode(node);
        return node;
    }
    void Frame()
    {
        manager->UpdateWorld();
        renderer.Prepare();
        device.Clear();
        BasicPipeline().Render(manager, &renderer, 0.0f);
    }
    std::vector<const PrimitiveShape*> Casters(const RenderList& list) const
    {
        std::vector<const PrimitiveShape*> casters;
        for (uint64_t i = 0; i < list.GetItemCount(); ++i)
            casters.push_back(list.GetAt(i).GetPrimitive());
        std::sort(casters.begin(), casters.end());
        return casters;
    }

    orvtest::RecordingDevice device{400, 300};
    Renderer renderer{&device, 1.0f};
    std::shared_ptr<SceneManager> manager;
};

} // namespace

TEST(ShadowRender, TheFirstPreparationWithASwitchOnChoosesTheKindForGood)
{
    const struct {
        bool contact, lights;
        const char* kind;
    } cases[] = {{false, false, "none"}, {false, true, "lights"}, {true, false, "contact"}, {true, true, "contact"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.kind);
        View view(c.contact, c.lights);
        view.renderer.Prepare();
        ShadowRender* made = view.renderer.GetShadowRender();
        const std::string kind = !made ? "none" : dynamic_cast<ContactShadowRender*>(made) ? "contact" : "lights";
        EXPECT_EQ(kind, c.kind);
        EXPECT_GT(view.device.Count("BuildTemplate("), 5u); // materials are built in every case
        // Switching kinds later keeps the one made first.
        view.device.GetSettings().ContactShadow = !c.contact;
        view.device.GetSettings().Shadow = true;
        view.renderer.Prepare();
        EXPECT_TRUE(!made || view.renderer.GetShadowRender() == made);
    }
}

TEST(ShadowRender, OnlyVisibleOpaqueTrianglesOfCastingNodesCastInEitherMode)
{
    for (bool contact : {true, false}) {
        SCOPED_TRACE(contact ? "contact" : "lights");
        View view(contact, !contact);
        auto solid = Solid(glm::vec3(10.0f));
        view.Add(solid, glm::vec3(0.0f));
        view.Add(Solid(glm::vec3(10.0f), true), glm::vec3(20, 0, 0));              // transparent
        view.Add(Solid(glm::vec3(10.0f)), glm::vec3(-20, 0, 0))->SetCastShadow(false); // casts nothing
        view.Add(Solid(glm::vec3(10.0f)), glm::vec3(0, 20, 0))->SetVisible(false);   // hidden
        view.Add(orvtest::Primitive(PRIMITIVE_LINES, {{0, 0, 0}, {5, 5, 5}}), glm::vec3(0.0f));
        // A shape casts with its opaque triangle members only.
        auto shape = std::make_shared<CompoundShape>();
        auto member = Solid(glm::vec3(4.0f));
        shape->AddPrimitive(member);
        shape->AddPrimitive(Solid(glm::vec3(4.0f), true));
        shape->AddPrimitive(std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBoxEdges(glm::vec3(4.0f)),
                                                             BasicMaterial::Create("shadow.edge")));
        view.manager->GetScene()->AddNode(std::make_shared<ShapeSceneNode>(shape));
        view.Frame();

        const RenderList& casters = contact
                                        ? static_cast<ContactShadowRender*>(view.renderer.GetShadowRender())->GetCasters()
                                        : static_cast<LightsShadowRender*>(view.renderer.GetShadowRender())->GetCasters();
        std::vector<const PrimitiveShape*> expected{solid.get(), member.get()};
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(view.Casters(casters), expected);
    }
}

TEST(ContactShadowRender, MapBlurredTwiceThenThePlaneUnderTheModel)
{
    View view(true);
    auto solid = Solid(glm::vec3(40, 20, 10)); // twice as long in x as in y
    view.Add(solid, glm::vec3(5, 5, 5));
    view.device.GetSettings().ContactShadowBlur = 0.0f; // both rounds still run
    view.Frame();
    auto* contact = static_cast<ContactShadowRender*>(view.renderer.GetShadowRender());
    EXPECT_EQ(contact->GetCamera()->GetWidth(), 512u);
    EXPECT_EQ(contact->GetCamera()->GetHeight(), 256u);

    const Calls round{"SetTarget(contact.blur)",        "ClearBuffers(0x4100)", "ActiveMaterial(sys.contact.h)",
                      "ActiveTexture(0,contact.map,0x8CE0)", "DrawScreenQuad",       "SetTarget(contact.map)",
                      "ClearBuffers(0x4100)",           "ActiveMaterial(sys.contact.v)",
                      "ActiveTexture(0,contact.blur,0x8CE0)", "DrawScreenQuad"};
    Calls expected{"SetCamera", "SetTarget(contact.map)", "SetClearColor(1,1,1,0)", "ClearBuffers(0x4100)",
                   "ActiveMaterial(System.DarkDepthMaterial)",
                   DrawOf(contact->GetCasterBatch().GetPrimitive().get())}; // the part, merged
    expected.insert(expected.end(), round.begin(), round.end());
    expected.insert(expected.end(), round.begin(), round.end());
    expected.push_back("SetTarget(screen)");
    const Calls calls = view.device.CallsWithout("SetUniform");
    ASSERT_GT(calls.size(), expected.size() + 4);
    EXPECT_EQ(Calls(calls.begin(), calls.begin() + long(expected.size())), expected);
    EXPECT_EQ(view.device.camera, view.manager->GetCamera());
    // Right after the background's clear: the plane with the map.
    const auto clear = std::find(calls.begin(), calls.end(), "ClearBuffers(0x4500)");
    ASSERT_NE(clear, calls.end());
    EXPECT_EQ(Calls(clear + 1, clear + 3),
              (Calls{"ActiveMaterial(sys.shadow.plane)", DrawOf(contact->GetPlane()->GetPrimitive().get())}));

    // The plane: 1.201 times the footprint, at the model's lowest point.
    const glm::mat4& plane = contact->GetPlane()->GetWorldTransform();
    EXPECT_NEAR(plane[0][0], 40.0f * 1.201f, 1e-3f);
    EXPECT_NEAR(plane[1][1], 20.0f * 1.201f, 1e-3f);
    EXPECT_EQ(glm::vec3(plane[3]), glm::vec3(5, 5, 0));
    const auto* map = contact->GetPlane()->GetMaterial()->GetTexture("map").get();
    ASSERT_TRUE(map);
    EXPECT_EQ(map->GetWidth(), 512u);
    EXPECT_TRUE(contact->GetPlane()->GetMaterial()->IsTransparent());
}

TEST(ContactShadowRender, TheMapIsDrawnAgainOnlyWhenTheModelChanges)
{
    View view(true);
    auto node = view.Add(Solid(glm::vec3(10.0f)), glm::vec3(0.0f));
    view.Frame();
    auto* contact = static_cast<ContactShadowRender*>(view.renderer.GetShadowRender());
    // Turning the view keeps the map, and the plane is still drawn.
    CameraOperator::SetStandardView(view.manager->GetCamera(), STANDARD_VIEW_TOP, view.manager->GetSceneBBox(), 1.0f);
    view.Frame();
    EXPECT_EQ(contact->GetMapDrawCount(), 1u);
    EXPECT_EQ(view.device.Count("SetTarget(contact.map)"), 0u);
    EXPECT_EQ(view.device.Count("ActiveMaterial(sys.shadow.plane)"), 1u);
    // A moved node, a changed geometry, a new blur: drawn again.
    node->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(0, 0, 1)));
    node->RequstUpdate();
    view.Frame();
    node->GetPrimitive()->GetGeometry()->GetPositions()->RaiseVersion();
    view.Frame();
    view.device.GetSettings().ContactShadowBlur = 2.0f;
    view.Frame();
    EXPECT_EQ(contact->GetMapDrawCount(), 4u);
}

TEST(ContactShadowRender, BlurAmountsAndDarknessReachTheShaders)
{
    View view(true);
    view.Add(Solid(glm::vec3(10.0f)), glm::vec3(0.0f));
    view.device.GetSettings().ContactShadowBlur = 2.56f;
    view.Frame();
    auto* contact = static_cast<ContactShadowRender*>(view.renderer.GetShadowRender());
    // The last round's amounts are left on the materials: 0.4 of the first.
    const auto h = contact->GetHorizontalBlurMaterial()->GetUniforms().Find("h");
    ASSERT_TRUE(h);
    EXPECT_FLOAT_EQ(std::get<float>(*h), 0.4f * 2.56f / 256.0f);
    EXPECT_EQ(std::get<TextureUnit>(*contact->GetVerticalBlurMaterial()->GetUniforms().Find("tDiffuse")).unit, 0);

    orvtest::LogCapture log;
    contact->SetDarkness(0.8f);
    contact->SetDarkness(1.5f);
    EXPECT_FLOAT_EQ(std::get<float>(*contact->GetDarkDepthMaterial()->GetUniforms().Find("darkness")), 0.8f);
    view.device.GetSettings().ContactShadowBlur = -1.0f;
    view.Frame();
    view.Frame();
    EXPECT_EQ(log.warnings, (Calls{"Shadow darkness is invalid!", "Shadow blur is invalid!"}));
    // Nothing to shade: the map is cleared and no plane is drawn.
    view.manager->GetScene()->Clear();
    view.Frame();
    EXPECT_EQ(view.device.Count("ActiveMaterial(sys.shadow.plane)"), 0u);
    EXPECT_EQ(view.device.Count("ActiveMaterial(System.DarkDepthMaterial)"), 0u);
}

TEST(LightsShadowRender, EveryCastingLightDrawsItsMapThenTheViewTargetReturns)
{
    View view(false, true);
    auto solid = Solid(glm::vec3(10.0f));
    view.Add(solid, glm::vec3(0.0f));
    view.Frame();
    const Calls calls = view.device.CallsWithout("SetUniform");
    const Calls expected{"SetCamera", "SetTarget(shadow.map.0)", "ClearBuffers(0x4100)",
                         "ActiveMaterial(System.DepthMaterial)", DrawOf(solid.get()), "SetTarget(screen)"};
    ASSERT_GT(calls.size(), expected.size() + 1);
    // The map is added on the first frame.
    Calls shadowPass(calls.begin(), calls.begin() + long(expected.size()) + 1);
    shadowPass.erase(std::remove(shadowPass.begin(), shadowPass.end(), "AddTarget(shadow.map.0)"), shadowPass.end());
    EXPECT_EQ(shadowPass, expected);
    EXPECT_EQ(view.device.camera, view.manager->GetCamera());
    // The model is drawn lit, with the map bound for the lookup.
    EXPECT_GT(view.device.Count("ActiveTexture(8,shadow.map.0,0x8D00)"), 0u);
    EXPECT_EQ(view.device.Count("ActiveMaterial(sys.shadow.plane)"), 0u);
}
