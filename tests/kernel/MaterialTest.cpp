#include <orvkernel/camera/Camera.h>
#include <orvkernel/light/DirectionalLight.h>
#include <orvkernel/light/LightManager.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/LineDashedMaterial.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/PointsMaterial.h>
#include <orvkernel/material/UniformSet.h>
#include <orvkernel/texture/ImageTexture2D.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <glm/geometric.hpp>
#include <gtest/gtest.h>

#include "LogCapture.h"
#include "RecordingDevice.h"

using namespace orvcore;
using orvtest::LogCapture;
using orvtest::RecordingDevice;

namespace {

// Made while the test program's statics are initialised: the manager must
// already resolve templates then.
const std::shared_ptr<BasicMaterial> g_StaticMaterial = BasicMaterial::Create("test.static.basic");

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

void ExpectVec(const glm::vec3& a, const glm::vec3& b, float eps = 1e-5f)
{
    EXPECT_NEAR(a.x, b.x, eps);
    EXPECT_NEAR(a.y, b.y, eps);
    EXPECT_NEAR(a.z, b.z, eps);
}

bool IsRegistered(const MaterialInstance* material)
{
    for (const auto& instance : MaterialManager::Instance().GetInstances())
        if (instance.get() == material)
            return true;
    return false;
}

// Z-up scene camera looking along +Y from the front.
std::shared_ptr<Camera> FrontCamera()
{
    return std::make_shared<Camera>(400, 300, glm::vec3(0, -10, 0), glm::vec3(0.0f), glm::vec3(0, 0, 1));
}

std::shared_ptr<DirectionalLight> Light(const glm::vec3& direction, bool followCamera, bool castShadow = true)
{
    auto light = std::make_shared<DirectionalLight>();
    light->SetDirection(direction);
    light->SetFollowCamera(followCamera);
    light->SetCastShadow(castShadow);
    return light;
}

} // namespace

// --- MaterialInstance ---------------------------------------------------

TEST(MaterialInstance, EverySetterRaisesTheVersionOnlyOnChange)
{
    MaterialInstance m("m");
    auto texture = std::make_shared<ImageTexture2D>(1, 1);
    struct Step {
        const char* what;
        std::function<void()> set;
    };
    const std::vector<Step> steps = {
        {"color", [&] { m.SetColor({0.2f, 0.3f, 0.4f}); }},
        {"opacity", [&] { m.SetOpacity(0.5f); }},
        {"face side", [&] { m.SetFaceSide(FACE_DOUBLE); }},
        {"depth test", [&] { m.SetDepthTest(false); }},
        {"state", [&] { m.SetState(MATERIAL_STATE_MARKED); }},
        {"vertex colors", [&] { m.SetVertexColors(true); }},
        {"options", [&] { m.SetTemplateOptions(TEMPLATE_OPTION_CLIPPING); }},
        {"clear option", [&] { m.ClearTemplateOption(TEMPLATE_OPTION_CLIPPING); }},
        {"texture", [&] { m.AddTexture("map", texture); }},
        {"uniform", [&] { m.SetUniform("darkness", 0.5f); }},
        {"remove texture", [&] { m.RemoveTexture("map"); }},
    };
    for (const Step& step : steps) {
        const uint32_t before = m.GetUpdateVersion();
        step.set();
        EXPECT_EQ(m.GetUpdateVersion(), before + 1) << step.what;
        step.set(); // the same value again
        EXPECT_EQ(m.GetUpdateVersion(), before + 1) << step.what << " (repeated)";
    }
    const uint32_t before = m.GetUpdateVersion();
    m.RequestUpdate();
    EXPECT_EQ(m.GetUpdateVersion(), before + 1);
}

TEST(MaterialInstance, OpacityIsClampedAndNaNRejected)
{
    LogCapture log;
    MaterialInstance m("m");
    m.SetOpacity(1.7f);
    EXPECT_EQ(m.GetOpacity(), 1.0f);
    m.SetOpacity(-0.2f);
    EXPECT_EQ(m.GetOpacity(), 0.0f);
    m.SetOpacity(kInf);
    EXPECT_EQ(m.GetOpacity(), 1.0f);
    EXPECT_TRUE(log.warnings.empty());

    const uint32_t version = m.GetUpdateVersion();
    m.SetOpacity(kNaN);
    EXPECT_EQ(m.GetOpacity(), 1.0f);
    EXPECT_EQ(m.GetUpdateVersion(), version);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Opacity is invalid!"});
}

TEST(MaterialInstance, FaceSideStateAndColorValidation)
{
    LogCapture log;
    MaterialInstance m("m");
    m.SetFaceSide(FACE_BACK);
    m.SetFaceSide(3);
    EXPECT_EQ(m.GetFaceSide(), uint32_t(FACE_BACK));
    m.SetColor({kNaN, 0.0f, 0.0f});
    EXPECT_EQ(m.GetColor(), glm::vec3(1.0f));
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Face side is invalid!", "Material color is invalid!"}));

    // Any state byte is accepted; the shader decides what it means.
    m.SetState(200);
    EXPECT_EQ(m.GetState(), 200);
}

TEST(MaterialInstance, PointSizeAndShininessAreClamped)
{
    auto points = PointsMaterial::Create("test.points.size");
    points->SetPointSize(7.0f);
    EXPECT_EQ(points->GetPointSize(), 7.0f);
    for (float bad : {0.5f, -3.0f, kNaN, kInf}) {
        points->SetPointSize(bad);
        EXPECT_EQ(points->GetPointSize(), 1.0f) << bad;
    }

    auto phong = MeshPhongMaterial::Create("test.phong.shininess");
    EXPECT_EQ(phong->GetShininess(), 30.0f);
    phong->SetShininess(-5.0f);
    EXPECT_EQ(phong->GetShininess(), 0.0f);
    phong->SetShininess(80.0f);
    EXPECT_EQ(phong->GetShininess(), 80.0f);
    phong->SetShininess(kNaN);
    EXPECT_EQ(phong->GetShininess(), 0.0f);
}

TEST(MaterialInstance, TexturesBySamplerName)
{
    LogCapture log;
    MaterialInstance m("m");
    auto a = std::make_shared<ImageTexture2D>(2, 2);
    auto b = std::make_shared<ImageTexture2D>(4, 4);
    m.AddTexture("t2D", a);
    m.AddTexture("t2D", b); // replaces
    EXPECT_EQ(m.GetTextures().size(), 1u);
    EXPECT_EQ(m.GetTexture("t2D"), b);
    EXPECT_FALSE(m.GetTexture("envMap"));

    const uint32_t version = m.GetUpdateVersion();
    m.AddTexture("", a);
    m.AddTexture("map", nullptr);
    m.RemoveTexture("absent");
    EXPECT_EQ(m.GetUpdateVersion(), version);
    EXPECT_EQ(m.GetTextures().size(), 1u);
    EXPECT_EQ(log.warnings,
              (std::vector<std::string>{"Material texture is invalid!", "Material texture is invalid!"}));
}

TEST(MaterialInstance, TemplateBindingCopiesOptions)
{
    MaterialInstance m("m");
    EXPECT_FALSE(m.GetTemplate());
    EXPECT_EQ(m.GetTemplateOptions(), 0u);

    auto custom = std::make_shared<MaterialTemplate>("test/custom", TEMPLATE_OPTION_LIGHTING);
    m.SetTemplate(custom);
    EXPECT_EQ(m.GetTemplate(), custom);
    EXPECT_EQ(m.GetTemplateName(), "test/custom");
    EXPECT_EQ(m.GetTemplateOptions(), uint32_t(TEMPLATE_OPTION_LIGHTING));

    // The options are the instance's own copy.
    m.ClearTemplateOption(TEMPLATE_OPTION_LIGHTING);
    EXPECT_EQ(m.GetTemplateOptions(), 0u);
    EXPECT_EQ(custom->GetOptions(), uint32_t(TEMPLATE_OPTION_LIGHTING));

    m.SetTemplate(nullptr);
    EXPECT_FALSE(m.GetTemplate());
    EXPECT_EQ(m.GetTemplateOptions(), 0u);

    // Construction by template name resolves silently, without registering.
    LogCapture log;
    MaterialInstance direct("direct", "phong");
    ASSERT_TRUE(direct.GetTemplate());
    EXPECT_EQ(direct.GetTemplateOptions(), uint32_t(TEMPLATE_OPTION_LIGHTING | TEMPLATE_OPTION_CLIPPING));
    MaterialInstance unknown("unknown", "test/no-such-template");
    EXPECT_FALSE(unknown.GetTemplate());
    EXPECT_EQ(unknown.GetTemplateName(), "test/no-such-template");
    EXPECT_TRUE(log.warnings.empty());
}

TEST(MaterialInstance, CreateRegistersAndResolvesItsTemplate)
{
    LogCapture log;
    auto m = MaterialInstance::Create("sys.bkg.t", "background");
    ASSERT_TRUE(m->GetTemplate());
    EXPECT_EQ(m->GetTemplate(), MaterialManager::Instance().FindTemplate("background"));
    EXPECT_TRUE(IsRegistered(m.get()));

    // No template name: a plain instance, no complaint.
    auto plain = MaterialInstance::Create("plain");
    EXPECT_FALSE(plain->GetTemplate());
    EXPECT_TRUE(plain->GetTemplateName().empty());
    EXPECT_TRUE(log.warnings.empty());
}

// --- UniformSet -----------------------------------------------------------

TEST(UniformSet, SetReportsChangesAndRejectsOtherTypes)
{
    LogCapture log;
    UniformSet set;
    EXPECT_TRUE(set.SetValue("flipEnvMap", -1.0f));
    EXPECT_FALSE(set.SetValue("flipEnvMap", -1.0f));
    EXPECT_TRUE(set.SetValue("flipEnvMap", 1.0f));
    EXPECT_TRUE(log.warnings.empty());

    EXPECT_FALSE(set.SetValue("flipEnvMap", 1)); // an int is not a float
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Not compitable uniform value type: flipEnvMap!"});
    ASSERT_TRUE(set.Find("flipEnvMap"));
    EXPECT_EQ(std::get<float>(*set.Find("flipEnvMap")), 1.0f);

    // A texture unit is distinct from an int of the same number.
    EXPECT_TRUE(set.SetValue("tDiffuse", TextureUnit{0}));
    EXPECT_FALSE(set.SetValue("tDiffuse", 0));
    EXPECT_FALSE(set.SetValue("tDiffuse", TextureUnit{0}));
    EXPECT_TRUE(set.SetValue("tDiffuse", TextureUnit{1}));

    EXPECT_TRUE(set.SetValue("m", glm::mat4(1.0f)));
    glm::mat4 moved(1.0f);
    moved[3][2] = 0.5f;
    EXPECT_TRUE(set.SetValue("m", moved));
    EXPECT_FALSE(set.SetValue("m", moved));

    EXPECT_FALSE(set.SetValue("", 1.0f));
    EXPECT_EQ(set.GetCount(), 3u);
    EXPECT_TRUE(set.Remove("m"));
    EXPECT_FALSE(set.Remove("m"));
    EXPECT_FALSE(set.Find("m"));
}

TEST(UniformSet, MaterialUniformConflictKeepsVersion)
{
    LogCapture log;
    MaterialInstance m("m");
    EXPECT_TRUE(m.SetUniform("darkness", 0.5f));
    const uint32_t version = m.GetUpdateVersion();
    EXPECT_FALSE(m.SetUniform("darkness", glm::vec3(0.5f)));
    EXPECT_EQ(m.GetUpdateVersion(), version);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Not compitable uniform value type: darkness!"});
    EXPECT_EQ(m.GetUniforms().GetCount(), 1u);
}

// --- Material kinds and the manager --------------------------------------------

TEST(MaterialKinds, CreateRegistersWithTheirTemplates)
{
    LogCapture log;
    auto basic = BasicMaterial::Create("test.basic");
    auto phong = MeshPhongMaterial::Create("test.phong");
    auto points = PointsMaterial::Create("test.points");
    auto dashed = LineDashedMaterial::Create("test.dashed");
    EXPECT_TRUE(log.warnings.empty());

    const std::vector<std::pair<MaterialInstance*, std::string>> kinds = {
        {basic.get(), "basic"}, {phong.get(), "phong"}, {points.get(), "points"}, {dashed.get(), "dashed"}};
    for (const auto& [material, name] : kinds) {
        ASSERT_TRUE(material->GetTemplate()) << name;
        EXPECT_EQ(material->GetTemplate()->GetName(), name);
        EXPECT_EQ(material->GetTemplateName(), name);
        EXPECT_EQ(material->GetTemplateOptions(), material->GetTemplate()->GetOptions()) << name;
        EXPECT_TRUE(IsRegistered(material)) << name;
    }
    // Only the phong template is lit; all four are clipped.
    EXPECT_EQ(phong->GetTemplateOptions(), uint32_t(TEMPLATE_OPTION_LIGHTING | TEMPLATE_OPTION_CLIPPING));
    EXPECT_EQ(basic->GetTemplateOptions(), uint32_t(TEMPLATE_OPTION_CLIPPING));
    EXPECT_TRUE(points->OrderExempt);
    EXPECT_FALSE(basic->OrderExempt);

    ASSERT_TRUE(g_StaticMaterial);
    ASSERT_TRUE(g_StaticMaterial->GetTemplate());
    EXPECT_EQ(g_StaticMaterial->GetTemplateName(), "basic");
}

TEST(MaterialKinds, CastChecksTheKind)
{
    auto phong = MeshPhongMaterial::Create("test.cast.phong");
    auto plain = MaterialInstance::Create("test.cast.plain", "phong");
    EXPECT_EQ(MeshPhongMaterial::Cast(phong.get()), phong.get());
    EXPECT_EQ(MeshPhongMaterial::Cast(plain.get()), nullptr); // the template does not make the kind
    EXPECT_EQ(BasicMaterial::Cast(phong.get()), nullptr);
    EXPECT_EQ(PointsMaterial::Cast(nullptr), nullptr);
    EXPECT_EQ(LineDashedMaterial::Cast(nullptr), nullptr);
    const std::shared_ptr<MaterialInstance> asBase = PointsMaterial::Create("test.cast.points");
    EXPECT_NE(PointsMaterial::Cast(asBase.get()), nullptr);
}

TEST(MaterialKinds, DashIsClampedAndVersioned)
{
    auto dashed = LineDashedMaterial::Create("test.dash");
    EXPECT_EQ(dashed->GetDashSize(), 1.0f);
    EXPECT_EQ(dashed->GetGapSize(), 0.0f);
    uint32_t version = dashed->GetUpdateVersion();
    dashed->SetDash(3.0f, 1.5f);
    EXPECT_EQ(dashed->GetUpdateVersion(), version + 1);
    dashed->SetDash(3.0f, 1.5f);
    EXPECT_EQ(dashed->GetUpdateVersion(), version + 1);
    dashed->SetDash(-2.0f, kNaN);
    EXPECT_EQ(dashed->GetDashSize(), 0.0f);
    EXPECT_EQ(dashed->GetGapSize(), 0.0f);
    EXPECT_EQ(dashed->GetUpdateVersion(), version + 2);
}

TEST(MaterialManager, BuiltInTemplatesOnlyPhongIsLit)
{
    const MaterialManager& manager = MaterialManager::Instance();
    for (const char* name : {"basic", "phong", "points", "dashed", "font", "background", "cube", "depth",
                             "ext/dark_depth", "ext/HorizontalBlur", "ext/VerticalBlur"}) {
        auto found = manager.FindTemplate(name);
        ASSERT_TRUE(found) << name;
        EXPECT_EQ(found->GetName(), name);
        EXPECT_EQ((found->GetOptions() & TEMPLATE_OPTION_LIGHTING) != 0, found->GetName() == "phong") << name;
    }
    EXPECT_FALSE(manager.FindTemplate("Basic")); // names are case-sensitive
}

TEST(MaterialManager, UnknownTemplateAndNullInstance)
{
    LogCapture log;
    auto& manager = MaterialManager::Instance();
    auto m = manager.Create("test.unknown", "no-such-template");
    ASSERT_TRUE(m);
    EXPECT_EQ(m->GetName(), "test.unknown");
    EXPECT_FALSE(m->GetTemplate());
    EXPECT_EQ(m->GetTemplateName(), "no-such-template");
    EXPECT_TRUE(IsRegistered(m.get()));

    manager.Register(nullptr, "basic");
    manager.AddTemplate(nullptr);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Material template is not found: no-such-template!",
                                                      "Material is null!", "Material template is null!"}));

    // A kind made elsewhere and registered under a wrong name keeps no template.
    log.warnings.clear();
    auto font = std::make_shared<BasicMaterial>("test.font.like");
    manager.Register(font, "fonts");
    EXPECT_FALSE(font->GetTemplate());
    manager.Register(font, "font"); // registering again rebinds
    ASSERT_TRUE(font->GetTemplate());
    EXPECT_EQ(font->GetTemplateName(), "font");
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Material template is not found: fonts!"});
    std::size_t seen = 0;
    for (const auto& instance : manager.GetInstances())
        seen += instance == font ? 1 : 0;
    EXPECT_EQ(seen, 1u);
}

TEST(MaterialManager, InstancesAreHeldWeakly)
{
    auto& manager = MaterialManager::Instance();
    auto kept = BasicMaterial::Create("test.kept");
    std::weak_ptr<MaterialInstance> gone;
    {
        auto temporary = BasicMaterial::Create("test.temporary");
        gone = temporary;
        EXPECT_TRUE(IsRegistered(temporary.get()));
    }
    EXPECT_TRUE(gone.expired()); // the manager does not keep it alive

    // Many short-lived materials do not pile up.
    for (int i = 0; i < 1000; ++i)
        BasicMaterial::Create("test.churn");
    const auto instances = manager.GetInstances();
    bool keptSeen = false;
    for (const auto& instance : instances) {
        EXPECT_NE(instance->GetName(), "test.churn");
        EXPECT_NE(instance->GetName(), "test.temporary");
        keptSeen = keptSeen || instance == kept;
    }
    EXPECT_TRUE(keptSeen);
}

TEST(MaterialManager, BuildAsksTheDeviceForEveryTemplateOnce)
{
    LogCapture log;
    auto& manager = MaterialManager::Instance();
    manager.AddTemplate(std::make_shared<MaterialTemplate>("test/extra", 0));
    RecordingDevice device;
    manager.Build(&device);
    const auto builds = device.CallsStartingWith("BuildTemplate(");
    EXPECT_EQ(builds.size(), device.calls.size());
    for (const char* name : {"basic", "phong", "depth", "ext/VerticalBlur", "test/extra"})
        EXPECT_EQ(device.Count(std::string("BuildTemplate(") + name + ")"), 1u) << name;
    EXPECT_TRUE(std::is_sorted(builds.begin(), builds.end()));
    for (std::size_t i = 1; i < builds.size(); ++i)
        EXPECT_NE(builds[i - 1], builds[i]);

    manager.Build(nullptr);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Device is null!"});
}

// --- ImageTexture2D ----------------------------------------------------------

TEST(ImageTexture2D, SizesCopiesAndVersions)
{
    ImageTexture2D empty;
    EXPECT_TRUE(empty.IsEmpty());
    EXPECT_EQ(empty.GetTextureType(), uint32_t(TEXTURE_2D));

    const std::vector<uint8_t> rgba = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    ImageTexture2D texture(3, 1, rgba.data());
    EXPECT_EQ(texture.GetWidth(), 3u);
    EXPECT_EQ(texture.GetHeight(), 1u);
    EXPECT_EQ(texture.GetPixels(), rgba);

    const uint32_t version = texture.GetVersion();
    texture.SetImage(2, 2, nullptr);
    EXPECT_EQ(texture.GetVersion(), version + 1);
    EXPECT_EQ(texture.GetPixels(), std::vector<uint8_t>(16, 0));

    texture.SetImage(5, 0, rgba.data());
    EXPECT_TRUE(texture.IsEmpty());
    EXPECT_EQ(texture.GetWidth(), 0u);
    EXPECT_EQ(texture.GetHeight(), 0u);
    EXPECT_EQ(texture.GetVersion(), version + 2);
}

TEST(ImageTexture2D, AbsurdSizesAreRefused)
{
    LogCapture log;
    ImageTexture2D texture(2, 1);
    const uint32_t version = texture.GetVersion();
    texture.SetImage(100000, 100000, nullptr);
    texture.SetImage(1, ImageTexture2D::kMaxSize + 1, nullptr);
    EXPECT_EQ(texture.GetWidth(), 2u);
    EXPECT_EQ(texture.GetPixels().size(), 8u);
    EXPECT_EQ(texture.GetVersion(), version);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Image size is invalid!", "Image size is invalid!"}));
}

// --- Lights ------------------------------------------------------------------

TEST(DirectionalLight, DefaultsAndDirectionValidation)
{
    DirectionalLight light;
    ExpectVec(light.GetDirection(), glm::vec3(-1, -1, -2) / std::sqrt(6.0f));
    EXPECT_EQ(light.GetColor(), glm::vec3(1.0f));
    EXPECT_EQ(light.GetIntensity(), 1.0f);
    EXPECT_TRUE(light.GetCastShadow());
    EXPECT_TRUE(light.GetFollowCamera());

    light.SetDirection({0, 0, 5});
    ExpectVec(light.GetDirection(), {0, 0, 1});
    light.SetDirection({3e-39f, 0, 0}); // denormal, still a direction
    ExpectVec(light.GetDirection(), {1, 0, 0});
    light.SetDirection({3e38f, 3e38f, 0}); // its length overflows a float
    ExpectVec(light.GetDirection(), glm::vec3(1, 1, 0) / std::sqrt(2.0f));

    LogCapture log;
    light.SetDirection({0, 0, 0});
    light.SetDirection({1, kNaN, 0});
    light.SetDirection({0, 0, -kInf});
    ExpectVec(light.GetDirection(), glm::vec3(1, 1, 0) / std::sqrt(2.0f));
    EXPECT_EQ(log.warnings, std::vector<std::string>(3, "Light direction is invalid!"));
}

TEST(LightManager, LightsAndAmbient)
{
    LogCapture log;
    LightManager lights;
    EXPECT_EQ(lights.GetAmbient(), glm::vec3(0.35f));
    EXPECT_TRUE(lights.GetLights().empty());
    auto light = std::make_shared<DirectionalLight>();
    lights.AddLight(light);
    lights.AddLight(light);
    lights.AddLight(nullptr);
    EXPECT_EQ(lights.GetLights().size(), 1u);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Light is null!"});
    EXPECT_TRUE(lights.RemoveLight(light));
    EXPECT_FALSE(lights.RemoveLight(light));
    EXPECT_FALSE(lights.RemoveLight(nullptr));
}

TEST(LightManager, FollowingLightsTurnWithTheCamera)
{
    LightManager lights;
    lights.AddLight(Light({0, 0, -1}, true));  // along the line of sight
    lights.AddLight(Light({1, 0, 0}, true));   // towards the view's right
    lights.AddLight(Light({0, 0, -1}, false)); // fixed in the world: straight down

    // Front view: looking along +Y, right is +X, up is +Z.
    auto camera = FrontCamera();
    auto directions = lights.GetWorldDirections(*camera);
    ASSERT_EQ(directions.size(), 3u);
    ExpectVec(directions[0], {0, 1, 0});
    ExpectVec(directions[1], {1, 0, 0});
    ExpectVec(directions[2], {0, 0, -1});

    // Turned 90 degrees about Z: now looking along -X, right is +Y.
    camera->LookAt({10, 0, 0}, glm::vec3(0.0f), {0, 0, 1});
    directions = lights.GetWorldDirections(*camera);
    ExpectVec(directions[0], {-1, 0, 0});
    ExpectVec(directions[1], {0, 1, 0});
    ExpectVec(directions[2], {0, 0, -1});

    // The default light comes over the viewer's right shoulder in the top view.
    LightManager defaults;
    defaults.AddLight(std::make_shared<DirectionalLight>());
    Camera top(100, 100, {0, 0, 10}, glm::vec3(0.0f), {0, 1, 0});
    ExpectVec(defaults.GetWorldDirections(top)[0], glm::vec3(-1, -1, -2) / std::sqrt(6.0f));
}

TEST(LightManager, ActiveMaterialBindsLightsOnlyForLitTemplates)
{
    LightManager lights;
    auto white = Light({0, 0, -1}, true);
    auto red = Light({1, 0, 0}, false);
    red->SetColor({1, 0, 0});
    red->SetIntensity(0.5f);
    lights.AddLight(white);
    lights.AddLight(red);
    lights.SetAmbient(glm::vec3(0.2f));

    RecordingDevice device;
    lights.CreateUniformBlock(&device);
    EXPECT_TRUE(lights.HasUniformBlock());
    lights.UpdateUniformBlock(&device, FrontCamera());

    auto phong = MeshPhongMaterial::Create("test.lit");
    EXPECT_EQ(lights.ActiveMaterial(&device, phong.get()), &device.program);
    EXPECT_EQ(device.calls,
              (std::vector<std::string>{"_ActiveMaterial(test.lit)", "SetUniform(lightCount)",
                                        "SetUniform(lightDirections[0])", "SetUniform(lightColors[0])",
                                        "SetUniform(lightDirections[1])", "SetUniform(lightColors[1])",
                                        "SetUniform(ambientLight)"}));
    const auto& u = device.program;
    EXPECT_EQ(std::get<int>(*u.Find("lightCount")), 2);
    ExpectVec(std::get<glm::vec3>(*u.Find("lightDirections[0]")), {0, 1, 0}); // turned into world space
    ExpectVec(std::get<glm::vec3>(*u.Find("lightDirections[1]")), {1, 0, 0});
    ExpectVec(std::get<glm::vec3>(*u.Find("lightColors[1]")), {0.5f, 0, 0});
    ExpectVec(std::get<glm::vec3>(*u.Find("ambientLight")), glm::vec3(0.2f));

    // Unlit templates, a lit template with lighting switched off, materials
    // without template: the device alone.
    device.Clear();
    auto basic = BasicMaterial::Create("test.unlit");
    EXPECT_EQ(lights.ActiveMaterial(&device, basic.get()), &device.program);
    auto dimmed = MeshPhongMaterial::Create("test.dimmed");
    dimmed->ClearTemplateOption(TEMPLATE_OPTION_LIGHTING);
    lights.ActiveMaterial(&device, dimmed.get());
    MaterialInstance bare("bare");
    EXPECT_EQ(lights.ActiveMaterial(&device, &bare), nullptr);
    EXPECT_EQ(lights.ActiveMaterial(&device, nullptr), nullptr);
    EXPECT_EQ(device.calls, (std::vector<std::string>{"_ActiveMaterial(test.unlit)", "_ActiveMaterial(test.dimmed)",
                                                      "_ActiveMaterial(bare)", "_ActiveMaterial(null)"}));

    LogCapture log;
    EXPECT_EQ(lights.ActiveMaterial(nullptr, phong.get()), nullptr);
    lights.CreateUniformBlock(nullptr);
    lights.UpdateUniformBlock(nullptr, FrontCamera());
    lights.UpdateUniformBlock(&device, nullptr);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Device is null!", "Device is null!", "Device is null!",
                                                      "Camera is null!"}));
}

TEST(LightManager, UniformsFollowTheLastUpdateAndStopAtTheLimit)
{
    LightManager lights;
    for (std::size_t i = 0; i < LightManager::kMaxLights + 2; ++i)
        lights.AddLight(Light({0, 0, -1}, true));
    RecordingDevice device;
    auto phong = MeshPhongMaterial::Create("test.many");

    // Before any update the directions are used as given.
    lights.ActiveMaterial(&device, phong.get());
    EXPECT_EQ(std::get<int>(*device.program.Find("lightCount")), int(LightManager::kMaxLights));
    EXPECT_FALSE(device.program.Find("lightDirections[" + std::to_string(LightManager::kMaxLights) + "]"));
    ExpectVec(std::get<glm::vec3>(*device.program.Find("lightDirections[0]")), {0, 0, -1});

    // After an update, the cached world directions of that camera; turning the
    // camera later changes nothing until the next update.
    auto camera = FrontCamera();
    lights.UpdateUniformBlock(&device, camera);
    camera->LookAt({10, 0, 0}, glm::vec3(0.0f), {0, 0, 1});
    lights.ActiveMaterial(&device, phong.get());
    ExpectVec(std::get<glm::vec3>(*device.program.Find("lightDirections[3]")), {0, 1, 0});
    lights.UpdateUniformBlock(&device, camera);
    lights.ActiveMaterial(&device, phong.get());
    ExpectVec(std::get<glm::vec3>(*device.program.Find("lightDirections[3]")), {-1, 0, 0});
}

TEST(LightManager, DrawShadowTargetsEachCastingLight)
{
    LightManager lights;
    lights.AddLight(Light({0, 0, -1}, false));
    lights.AddLight(Light({1, 0, 0}, false, false)); // casts no shadow
    lights.AddLight(Light({1, 1, -1}, false));

    auto camera = FrontCamera();
    camera->SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    auto depth = MaterialManager::Instance().Create("System.DepthMaterial", "depth");
    RecordingDevice device;
    std::vector<std::shared_ptr<Camera>> seen;
    const auto draw = [&](const std::shared_ptr<Camera>& lightCamera) {
        device.calls.push_back("draw");
        seen.push_back(lightCamera);
        EXPECT_EQ(device.targetCamera, lightCamera);
    };
    lights.DrawShadow(&device, camera, depth, draw);

    const std::vector<std::string> pass0 = {"SetTarget(shadow.map.0)", "ClearBuffers(0x4100)",
                                            "ActiveMaterial(System.DepthMaterial)", "draw"};
    const std::vector<std::string> pass2 = {"SetTarget(shadow.map.2)", "ClearBuffers(0x4100)",
                                            "ActiveMaterial(System.DepthMaterial)", "draw"};
    std::vector<std::string> expected = {"AddTarget(shadow.map.0)"};
    expected.insert(expected.end(), pass0.begin(), pass0.end());
    expected.push_back("AddTarget(shadow.map.2)");
    expected.insert(expected.end(), pass2.begin(), pass2.end());
    EXPECT_EQ(device.calls, expected);

    ASSERT_TRUE(device.FindTarget("shadow.map.0"));
    EXPECT_EQ(device.FindTarget("shadow.map.0")->GetWidth(), 1024u);
    EXPECT_EQ(device.FindTarget("shadow.map.0")->GetHeight(), 1024u);
    EXPECT_FALSE(device.FindTarget("shadow.map.1"));

    // The light cameras are kept, indexed like the lights.
    const auto& cameras = lights.GetShadowCameras();
    ASSERT_EQ(cameras.size(), 3u);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(cameras[0], seen[0]);
    EXPECT_FALSE(cameras[1]);
    EXPECT_EQ(cameras[2], seen[1]);

    // The next frame reuses the targets and the cameras.
    device.Clear();
    lights.DrawShadow(&device, camera, depth, draw);
    std::vector<std::string> again = pass0;
    again.insert(again.end(), pass2.begin(), pass2.end());
    EXPECT_EQ(device.calls, again);
    EXPECT_EQ(seen[2], seen[0]);
}

TEST(LightManager, ShadowCameraCoversTheView)
{
    LightManager lights;
    const glm::vec3 direction = glm::normalize(glm::vec3(1, 2, -3));
    lights.AddLight(Light(direction, false));
    auto camera = std::make_shared<Camera>(400, 300, glm::vec3(5, -20, 8), glm::vec3(5, 0, 2), glm::vec3(0, 0, 1));
    camera->SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    RecordingDevice device;
    lights.DrawShadow(&device, camera, BasicMaterial::Create("test.depth"), [](const std::shared_ptr<Camera>&) {});

    ASSERT_EQ(lights.GetShadowCameras().size(), 1u);
    const auto light = lights.GetShadowCameras()[0];
    ASSERT_TRUE(light);
    EXPECT_EQ(light->GetProjectionType(), uint32_t(Camera::PROJECTION_ORTHOGRAPHIC));
    EXPECT_EQ(light->GetWidth(), 1024u);
    ExpectVec(light->GetDirection(), direction);
    ExpectVec(light->GetTarget(), camera->GetTarget(), 1e-4f);
    EXPECT_NEAR(light->GetOrthoHalfHeight(), camera->GetOrthoHalfHeight() * 2.0f, 1e-3f);

    // Every corner of what the scene camera shows at its target, and points
    // well in front of and behind it, land inside the light's clip volume.
    const float h = camera->GetOrthoHalfHeight();
    const float w = h * camera->GetAspect();
    const glm::vec3 forward = camera->GetDirection();
    const glm::vec3 up = camera->GetUp();
    const glm::vec3 right = glm::cross(forward, up);
    const glm::mat4 lightClip = light->GetViewProjectionMatrix();
    for (float sx : {-1.0f, 1.0f})
        for (float sy : {-1.0f, 1.0f})
            for (float depthOffset : {-h, 0.0f, h}) {
                const glm::vec3 p = camera->GetTarget() + right * (sx * w) + up * (sy * h) + forward * depthOffset;
                const glm::vec4 clip = lightClip * glm::vec4(p, 1.0f);
                EXPECT_LE(std::fabs(clip.x / clip.w), 1.0f);
                EXPECT_LE(std::fabs(clip.y / clip.w), 1.0f);
                EXPECT_LE(std::fabs(clip.z / clip.w), 1.0f);
            }
    const glm::vec4 centre = lightClip * glm::vec4(camera->GetTarget(), 1.0f);
    EXPECT_NEAR(centre.x / centre.w, 0.0f, 1e-4f);
    EXPECT_NEAR(centre.y / centre.w, 0.0f, 1e-4f);

    // A light straight down cannot use +Z as its up vector; it still works.
    LogCapture log;
    LightManager down;
    down.AddLight(Light({0, 0, -1}, false));
    down.DrawShadow(&device, camera, BasicMaterial::Create("test.depth"), [](const std::shared_ptr<Camera>&) {});
    ASSERT_TRUE(down.GetShadowCameras()[0]);
    ExpectVec(down.GetShadowCameras()[0]->GetDirection(), {0, 0, -1});
    EXPECT_TRUE(log.warnings.empty());
}

TEST(LightManager, DrawShadowRejectsMissingArguments)
{
    LogCapture log;
    LightManager lights;
    lights.AddLight(std::make_shared<DirectionalLight>());
    RecordingDevice device;
    auto camera = FrontCamera();
    auto depth = BasicMaterial::Create("test.depth");
    int draws = 0;
    const auto draw = [&](const std::shared_ptr<Camera>&) { ++draws; };
    lights.DrawShadow(nullptr, camera, depth, draw);
    lights.DrawShadow(&device, nullptr, depth, draw);
    lights.DrawShadow(&device, camera, nullptr, draw);
    lights.DrawShadow(&device, camera, depth, nullptr);
    EXPECT_EQ(draws, 0);
    EXPECT_TRUE(device.calls.empty());
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Device is null!", "Camera is null!", "Material is null!",
                                                      "Shadow callback is null!"}));

    // No light casts: nothing happens.
    lights.GetLights()[0]->SetCastShadow(false);
    lights.DrawShadow(&device, camera, depth, draw);
    EXPECT_EQ(draws, 0);
    EXPECT_TRUE(device.calls.empty());
}
