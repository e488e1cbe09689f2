#include <orvkernel/light/DirectionalLight.h>
#include <orvkernel/light/LightManager.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/LineDashedMaterial.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/PointsMaterial.h>
#include <orvkernel/texture/ImageTexture2D.h>

#include <gtest/gtest.h>

#include <functional>

#include "Expect.h"
#include "LogCapture.h"
#include "RecordingDevice.h"

using namespace orvcore;
using orvtest::LogCapture;
using orvtest::RecordingDevice;
using Texts = std::vector<std::string>;

namespace {

// Made while the test program's statics are initialised: the manager must
// already resolve templates then.
const std::shared_ptr<BasicMaterial> g_StaticMaterial = BasicMaterial::Create("test.static.basic");

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

bool IsRegistered(const MaterialInstance* material)
{
    const auto instances = MaterialManager::Instance().GetInstances();
    return std::any_of(instances.begin(), instances.end(), [&](const auto& i) { return i.get() == material; });
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

glm::vec3 Uniform3(const RecordingDevice& device, const std::string& name)
{
    const UniformValue* value = device.program.Find(name);
    return value ? std::get<glm::vec3>(*value) : glm::vec3(NAN);
}

} // namespace

// --- MaterialInstance ---------------------------------------------------

TEST(MaterialInstance, EverySetterRaisesTheVersionOnlyOnChange)
{
    MaterialInstance m("m");
    auto texture = std::make_shared<ImageTexture2D>(1, 1);
    auto dashed = LineDashedMaterial::Create("test.dash");
    const std::vector<std::pair<MaterialInstance*, std::function<void()>>> steps = {
        {&m, [&] { m.SetColor({0.2f, 0.3f, 0.4f}); }}, {&m, [&] { m.SetOpacity(0.5f); }},
        {&m, [&] { m.SetFaceSide(FACE_DOUBLE); }},      {&m, [&] { m.SetDepthTest(false); }},
        {&m, [&] { m.SetState(MATERIAL_STATE_MARKED); }}, {&m, [&] { m.SetVertexColors(true); }},
        {&m, [&] { m.SetTemplateOptions(TEMPLATE_OPTION_CLIPPING); }},
        {&m, [&] { m.ClearTemplateOption(TEMPLATE_OPTION_CLIPPING); }},
        {&m, [&] { m.AddTexture("map", texture); }},    {&m, [&] { m.SetUniform("darkness", 0.5f); }},
        {&m, [&] { m.RemoveTexture("map"); }},          {dashed.get(), [&] { dashed->SetDash(3.0f, 1.5f); }},
    };
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const uint32_t before = steps[i].first->GetUpdateVersion();
        steps[i].second();
        EXPECT_EQ(steps[i].first->GetUpdateVersion(), before + 1) << "step " << i;
        steps[i].second(); // the same value again
        EXPECT_EQ(steps[i].first->GetUpdateVersion(), before + 1) << "step " << i << " repeated";
    }
    const uint32_t before = m.GetUpdateVersion();
    m.RequestUpdate();
    EXPECT_EQ(m.GetUpdateVersion(), before + 1);
}

TEST(MaterialInstance, ValuesAreClampedAndInvalidOnesRejected)
{
    LogCapture log;
    MaterialInstance m("m");
    const std::pair<float, float> opacities[] = {{1.7f, 1.0f}, {-0.2f, 0.0f}, {kInf, 1.0f}};
    for (const auto& [given, kept] : opacities) {
        m.SetOpacity(given);
        EXPECT_EQ(m.GetOpacity(), kept) << given;
    }
    const uint32_t version = m.GetUpdateVersion();
    m.SetOpacity(kNaN);
    m.SetFaceSide(3);
    m.SetColor({kNaN, 0.0f, 0.0f});
    EXPECT_EQ(m.GetOpacity(), 1.0f);
    EXPECT_EQ(m.GetFaceSide(), uint32_t(FACE_FRONT));
    EXPECT_EQ(m.GetColor(), glm::vec3(1.0f));
    EXPECT_EQ(m.GetUpdateVersion(), version);
    EXPECT_EQ(log.warnings, (Texts{"Opacity is invalid!", "Face side is invalid!", "Material color is invalid!"}));

    // Point sizes below one pixel, shininess and dashes below zero, and NaN are clamped.
    auto points = PointsMaterial::Create("test.points.size");
    for (float bad : {0.5f, -3.0f, kNaN, kInf}) {
        points->SetPointSize(bad);
        EXPECT_EQ(points->GetPointSize(), 1.0f) << bad;
    }
    auto phong = MeshPhongMaterial::Create("test.phong.shininess");
    phong->SetShininess(-5.0f);
    EXPECT_EQ(phong->GetShininess(), 0.0f);
    phong->SetShininess(kNaN);
    EXPECT_EQ(phong->GetShininess(), 0.0f);
    auto dashed = LineDashedMaterial::Create("test.dash");
    dashed->SetDash(-2.0f, kNaN);
    EXPECT_EQ(std::make_pair(dashed->GetDashSize(), dashed->GetGapSize()), std::make_pair(0.0f, 0.0f));
}

TEST(MaterialInstance, TexturesBySamplerName)
{
    LogCapture log;
    MaterialInstance m("m");
    auto a = std::make_shared<ImageTexture2D>(2, 2);
    auto b = std::make_shared<ImageTexture2D>(4, 4);
    m.AddTexture("t2D", a);
    m.AddTexture("t2D", b); // replaces
    EXPECT_EQ(m.GetTexture("t2D"), b);
    EXPECT_FALSE(m.GetTexture("envMap"));
    const uint32_t version = m.GetUpdateVersion();
    m.AddTexture("", a);
    m.AddTexture("map", nullptr);
    m.RemoveTexture("absent");
    EXPECT_EQ(m.GetUpdateVersion(), version);
    EXPECT_EQ(m.GetTextures().size(), 1u);
    EXPECT_EQ(log.warnings, Texts(2, "Material texture is invalid!"));
}

TEST(MaterialInstance, MatchesExceptColorComparesAllButColourAndName)
{
    auto a = MeshPhongMaterial::Create("a");
    auto b = MeshPhongMaterial::Create("b");
    b->SetColor(glm::vec3(0.9f, 0.1f, 0.2f));
    EXPECT_TRUE(a->MatchesExceptColor(*b));
    EXPECT_TRUE(b->MatchesExceptColor(*a));
    // Any other difference, through a setter or a public field, is one.
    std::vector<std::function<void(MeshPhongMaterial&)>> changes = {
        [](MeshPhongMaterial& m) { m.SetOpacity(0.5f); },
        [](MeshPhongMaterial& m) { m.SetShininess(5.0f); },
        [](MeshPhongMaterial& m) { m.SetFaceSide(FACE_DOUBLE); },
        [](MeshPhongMaterial& m) { m.SetDepthTest(false); },
        [](MeshPhongMaterial& m) { m.SetVertexColors(true); },
        [](MeshPhongMaterial& m) { m.SetState(MATERIAL_STATE_MARKED); },
        [](MeshPhongMaterial& m) { m.SetUniform("alphaTest", 0.5f); },
        [](MeshPhongMaterial& m) { m.AddTexture("map", std::make_shared<ImageTexture2D>(2, 2)); },
        [](MeshPhongMaterial& m) { m.LineWidth = 3; },
        [](MeshPhongMaterial& m) { m.DepthWrite = false; },
        [](MeshPhongMaterial& m) { m.BlendingMode = BLENDING_NORMAL; },
        [](MeshPhongMaterial& m) { m.OrderExempt = true; },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        MeshPhongMaterial changed(*b);
        changes[i](changed);
        EXPECT_FALSE(a->MatchesExceptColor(changed)) << "change " << i;
    }
    // Another kind of the same state is not the same material.
    MaterialInstance plain(static_cast<const MaterialInstance&>(*a));
    EXPECT_FALSE(a->MatchesExceptColor(plain));
    EXPECT_FALSE(BasicMaterial::Create("c")->MatchesExceptColor(*a));
}

TEST(MaterialInstance, TemplatesBindByNameAndOptionsAreTheInstancesOwn)
{
    LogCapture log;
    MaterialInstance m("m");
    auto custom = std::make_shared<MaterialTemplate>("test/custom", TEMPLATE_OPTION_LIGHTING);
    m.SetTemplate(custom);
    EXPECT_EQ(m.GetTemplateName(), "test/custom");
    m.ClearTemplateOption(TEMPLATE_OPTION_LIGHTING);
    EXPECT_EQ(m.GetTemplateOptions(), 0u);
    EXPECT_EQ(custom->GetOptions(), uint32_t(TEMPLATE_OPTION_LIGHTING));

    // Construction by template name resolves silently, without registering.
    MaterialInstance direct("direct", "phong");
    EXPECT_EQ(direct.GetTemplateOptions(), uint32_t(TEMPLATE_OPTION_LIGHTING | TEMPLATE_OPTION_CLIPPING));
    EXPECT_FALSE(IsRegistered(&direct));

    // The kinds register with their templates; only phong is lit, all are clipped.
    const struct {
        std::shared_ptr<MaterialInstance> material;
        const char* name;
        uint32_t options;
    } kinds[] = {{BasicMaterial::Create("test.basic"), "basic", TEMPLATE_OPTION_CLIPPING},
                 {MeshPhongMaterial::Create("test.phong"), "phong", TEMPLATE_OPTION_LIGHTING | TEMPLATE_OPTION_CLIPPING},
                 {PointsMaterial::Create("test.points"), "points", TEMPLATE_OPTION_CLIPPING},
                 {LineDashedMaterial::Create("test.dashed"), "dashed", TEMPLATE_OPTION_CLIPPING},
                 {g_StaticMaterial, "basic", TEMPLATE_OPTION_CLIPPING}};
    for (const auto& kind : kinds) {
        EXPECT_EQ(kind.material->GetTemplateName(), kind.name);
        EXPECT_EQ(kind.material->GetTemplateOptions(), kind.options) << kind.name;
        EXPECT_TRUE(IsRegistered(kind.material.get())) << kind.name;
    }
    EXPECT_TRUE(kinds[2].material->OrderExempt && !kinds[0].material->OrderExempt);
    // The kind is the class, not the template.
    EXPECT_EQ(MeshPhongMaterial::Cast(kinds[1].material.get()), kinds[1].material.get());
    EXPECT_EQ(MeshPhongMaterial::Cast(MaterialInstance::Create("test.cast", "phong").get()), nullptr);
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
    EXPECT_FALSE(set.SetValue("flipEnvMap", 1)); // an int is not a float
    EXPECT_EQ(log.warnings, Texts{"Not compitable uniform value type: flipEnvMap!"});
    EXPECT_EQ(std::get<float>(*set.Find("flipEnvMap")), 1.0f);

    // A texture unit is distinct from an int of the same number.
    EXPECT_TRUE(set.SetValue("tDiffuse", TextureUnit{0}));
    EXPECT_FALSE(set.SetValue("tDiffuse", 0));
    EXPECT_FALSE(set.SetValue("tDiffuse", TextureUnit{0}));
    EXPECT_TRUE(set.SetValue("tDiffuse", TextureUnit{1}));
    EXPECT_FALSE(set.SetValue("", 1.0f));
    EXPECT_EQ(set.GetCount(), 2u);
    EXPECT_TRUE(set.Remove("tDiffuse"));
    EXPECT_FALSE(set.Remove("tDiffuse"));
    EXPECT_FALSE(set.Find("tDiffuse"));
}

// --- The manager --------------------------------------------------------------

TEST(MaterialManager, TemplatesUnknownNamesAndNullArguments)
{
    LogCapture log;
    auto& manager = MaterialManager::Instance();
    // (Every built-in template is built into a program by the GL draw tests.)
    EXPECT_FALSE(manager.FindTemplate("Basic")); // names are case-sensitive

    auto m = manager.Create("test.unknown", "no-such-template");
    ASSERT_TRUE(m);
    EXPECT_EQ(m->GetTemplateName(), "no-such-template");
    EXPECT_TRUE(IsRegistered(m.get()));
    manager.Register(nullptr, "basic");
    manager.AddTemplate(nullptr);
    // A kind made elsewhere and registered under a wrong name keeps no template;
    // registering again rebinds without a second entry.
    auto font = std::make_shared<BasicMaterial>("test.font.like");
    manager.Register(font, "fonts");
    EXPECT_FALSE(font->GetTemplate());
    manager.Register(font, "font");
    EXPECT_EQ(font->GetTemplateName(), "font");
    EXPECT_EQ(log.warnings, (Texts{"Material template is not found: no-such-template!", "Material is null!",
                                   "Material template is null!", "Material template is not found: fonts!"}));
    const auto instances = manager.GetInstances();
    EXPECT_EQ(std::count(instances.begin(), instances.end(), font), 1);

    // Instances are held weakly: short-lived ones do not pile up.
    std::weak_ptr<MaterialInstance> gone = BasicMaterial::Create("test.temporary");
    EXPECT_TRUE(gone.expired());
    for (int i = 0; i < 1000; ++i)
        BasicMaterial::Create("test.churn");
    for (const auto& instance : manager.GetInstances())
        EXPECT_TRUE(instance->GetName() != "test.churn" && instance->GetName() != "test.temporary");
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
    EXPECT_EQ(std::adjacent_find(builds.begin(), builds.end()), builds.end());
    manager.Build(nullptr);
    EXPECT_EQ(log.warnings, Texts{"Device is null!"});
}

// --- ImageTexture2D ----------------------------------------------------------

TEST(ImageTexture2D, SizesCopiesVersionsAndRefusedSizes)
{
    EXPECT_TRUE(ImageTexture2D().IsEmpty());
    const std::vector<uint8_t> rgba = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    ImageTexture2D texture(3, 1, rgba.data());
    EXPECT_EQ(texture.GetTextureType(), uint32_t(TEXTURE_2D));
    EXPECT_EQ(texture.GetPixels(), rgba);
    const uint32_t version = texture.GetVersion();
    texture.SetImage(2, 2, nullptr);
    EXPECT_EQ(texture.GetVersion(), version + 1);
    EXPECT_EQ(texture.GetPixels(), std::vector<uint8_t>(16, 0));

    LogCapture log;
    texture.SetImage(100000, 100000, nullptr);
    texture.SetImage(1, ImageTexture2D::kMaxSize + 1, nullptr);
    EXPECT_EQ(texture.GetWidth(), 2u);
    EXPECT_EQ(texture.GetPixels().size(), 16u);
    EXPECT_EQ(texture.GetVersion(), version + 1);
    EXPECT_EQ(log.warnings, Texts(2, "Image size is invalid!"));

    texture.SetImage(5, 0, rgba.data());
    EXPECT_TRUE(texture.IsEmpty());
    EXPECT_EQ(texture.GetWidth(), 0u);
    EXPECT_EQ(texture.GetVersion(), version + 2);
}

// --- Lights ------------------------------------------------------------------

TEST(DirectionalLight, DefaultsAndDirectionValidation)
{
    LogCapture log;
    DirectionalLight light; // over the viewer's right shoulder
    EXPECT_VEC(light.GetDirection(), glm::vec3(-1, -1, -2) / std::sqrt(6.0f));
    light.SetDirection({0, 0, 5});
    EXPECT_VEC(light.GetDirection(), glm::vec3(0, 0, 1));
    light.SetDirection({3e-39f, 0, 0}); // denormal, still a direction
    EXPECT_VEC(light.GetDirection(), glm::vec3(1, 0, 0));
    light.SetDirection({3e38f, 3e38f, 0}); // its length overflows a float
    EXPECT_VEC(light.GetDirection(), glm::vec3(1, 1, 0) / std::sqrt(2.0f));
    light.SetDirection({0, 0, 0});
    light.SetDirection({1, kNaN, 0});
    light.SetDirection({0, 0, -kInf});
    EXPECT_VEC(light.GetDirection(), glm::vec3(1, 1, 0) / std::sqrt(2.0f));
    EXPECT_EQ(log.warnings, Texts(3, "Light direction is invalid!"));
}

TEST(LightManager, LitTemplatesGetTheLightsOfTheLastUpdate)
{
    LogCapture log;
    LightManager lights;
    auto sight = Light({0, 0, -1}, true); // follows the camera: along the line of sight
    auto red = Light({1, 0, 0}, false);   // fixed in the world
    red->SetColor({1, 0, 0});
    red->SetIntensity(0.5f);
    for (const auto& light : {sight, sight, std::shared_ptr<DirectionalLight>(), red}) // the second is ignored
        lights.AddLight(light);
    lights.SetAmbient(glm::vec3(0.2f));
    RecordingDevice device;
    auto phong = MeshPhongMaterial::Create("test.lit");
    // Before any update the directions are used as given.
    lights.ActiveMaterial(&device, phong.get());
    EXPECT_VEC(Uniform3(device, "lightDirections[0]"), glm::vec3(0, 0, -1));
    device.Clear();
    lights.CreateUniformBlock(&device);
    EXPECT_TRUE(lights.HasUniformBlock());
    auto camera = FrontCamera(); // looking along +Y
    lights.UpdateUniformBlock(&device, camera);
    // Turned 90 degrees about Z, looking along -X: nothing changes until the next update.
    camera->LookAt({10, 0, 0}, glm::vec3(0.0f), {0, 0, 1});
    EXPECT_EQ(lights.ActiveMaterial(&device, phong.get()), &device.program);
    EXPECT_EQ(device.calls, (Texts{"_ActiveMaterial(test.lit)", "SetUniform(lightCount)",
                                   "SetUniform(lightDirections[0])", "SetUniform(lightColors[0])",
                                   "SetUniform(lightDirections[1])", "SetUniform(lightColors[1])",
                                   "SetUniform(ambientLight)", "SetUniform(shadowMask)"}));
    EXPECT_EQ(std::get<int>(*device.program.Find("lightCount")), 2);
    EXPECT_VEC(Uniform3(device, "lightDirections[0]"), glm::vec3(0, 1, 0));
    EXPECT_VEC(Uniform3(device, "lightColors[1]"), glm::vec3(0.5f, 0, 0));
    EXPECT_VEC(Uniform3(device, "ambientLight"), glm::vec3(0.2f));
    lights.UpdateUniformBlock(&device, camera);
    lights.ActiveMaterial(&device, phong.get());
    EXPECT_VEC(Uniform3(device, "lightDirections[0]"), glm::vec3(-1, 0, 0));
    EXPECT_VEC(Uniform3(device, "lightDirections[1]"), glm::vec3(1, 0, 0));

    // Unlit templates, a lit template with lighting switched off, materials
    // without template: the device alone.
    device.Clear();
    auto dimmed = MeshPhongMaterial::Create("test.dimmed");
    dimmed->ClearTemplateOption(TEMPLATE_OPTION_LIGHTING);
    MaterialInstance bare("bare");
    EXPECT_EQ(lights.ActiveMaterial(&device, BasicMaterial::Create("test.unlit").get()), &device.program);
    lights.ActiveMaterial(&device, dimmed.get());
    EXPECT_EQ(lights.ActiveMaterial(&device, &bare), nullptr);
    EXPECT_EQ(lights.ActiveMaterial(&device, nullptr), nullptr);
    EXPECT_EQ(device.calls, (Texts{"_ActiveMaterial(test.unlit)", "_ActiveMaterial(test.dimmed)",
                                   "_ActiveMaterial(bare)", "_ActiveMaterial(null)"}));

    EXPECT_EQ(lights.ActiveMaterial(nullptr, phong.get()), nullptr);
    lights.CreateUniformBlock(nullptr);
    lights.UpdateUniformBlock(nullptr, FrontCamera());
    lights.UpdateUniformBlock(&device, nullptr);
    EXPECT_EQ(log.warnings, (Texts{"Light is null!", "Device is null!", "Device is null!", "Device is null!",
                                   "Camera is null!"}));

    // Only the first lights up to the limit reach the shader.
    while (lights.GetLights().size() <= LightManager::kMaxLights)
        lights.AddLight(Light({0, 0, -1}, true));
    lights.UpdateUniformBlock(&device, camera);
    lights.ActiveMaterial(&device, phong.get());
    EXPECT_EQ(std::get<int>(*device.program.Find("lightCount")), int(LightManager::kMaxLights));
    EXPECT_FALSE(device.program.Find("lightDirections[" + std::to_string(LightManager::kMaxLights) + "]"));
    EXPECT_TRUE(lights.RemoveLight(sight));
    EXPECT_FALSE(lights.RemoveLight(sight) || lights.RemoveLight(nullptr));
}

TEST(LightManager, EachCastingLightDrawsAShadowMapCoveringTheView)
{
    LogCapture log;
    LightManager lights;
    const glm::vec3 oblique = glm::normalize(glm::vec3(1, 2, -3));
    lights.AddLight(Light({0, 0, -1}, false)); // straight down: +Z cannot be its camera's up
    lights.AddLight(Light({1, 0, 0}, false, false)); // casts no shadow
    lights.AddLight(Light(oblique, false));
    auto camera = std::make_shared<Camera>(400, 300, glm::vec3(5, -20, 8), glm::vec3(5, 0, 2), glm::vec3(0, 0, 1));
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
    EXPECT_EQ(device.calls, (Texts{"AddTarget(shadow.map.0)", "SetTarget(shadow.map.0)", "ClearBuffers(0x4100)",
                                   "ActiveMaterial(System.DepthMaterial)", "draw", "AddTarget(shadow.map.2)",
                                   "SetTarget(shadow.map.2)", "ClearBuffers(0x4100)",
                                   "ActiveMaterial(System.DepthMaterial)", "draw"}));
    const auto map = device.FindTarget("shadow.map.0");
    ASSERT_TRUE(map);
    EXPECT_EQ(std::make_pair(map->GetWidth(), map->GetHeight()), std::make_pair(1024u, 1024u));
    // The light cameras are kept, indexed like the lights.
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(lights.GetShadowCameras(), (std::vector<std::shared_ptr<Camera>>{seen[0], nullptr, seen[1]}));
    EXPECT_VEC(seen[0]->GetDirection(), glm::vec3(0, 0, -1));

    // An orthographic light camera looks along the light at the view's target;
    // every corner of what the view shows there, and points well in front of
    // and behind it, land inside its clip volume.
    const auto light = seen[1];
    EXPECT_EQ(light->GetProjectionType(), uint32_t(Camera::PROJECTION_ORTHOGRAPHIC));
    EXPECT_VEC(light->GetDirection(), oblique);
    EXPECT_VEC(light->GetTarget(), camera->GetTarget(), 1e-4f);
    EXPECT_NEAR(light->GetOrthoHalfHeight(), camera->GetOrthoHalfHeight() * 2.0f, 1e-3f);
    const float h = camera->GetOrthoHalfHeight();
    const float w = h * camera->GetAspect();
    const glm::vec3 right = glm::cross(camera->GetDirection(), camera->GetUp());
    const glm::mat4 lightClip = light->GetViewProjectionMatrix();
    for (int i = 0; i < 12; ++i) {
        const glm::vec3 p = camera->GetTarget() + right * ((i & 1) ? w : -w) + camera->GetUp() * ((i & 2) ? h : -h) +
                            camera->GetDirection() * (float(i / 4 - 1) * h);
        const glm::vec4 clip = lightClip * glm::vec4(p, 1.0f);
        EXPECT_VEC(glm::vec3(clip) / clip.w, glm::vec3(0.0f), 1.0f) << "corner " << i;
    }
    const glm::vec4 centre = lightClip * glm::vec4(camera->GetTarget(), 1.0f);
    EXPECT_VEC(glm::vec3(centre.x, centre.y, 0) / centre.w, glm::vec3(0.0f), 1e-4f);

    // The next frame reuses the targets and the cameras.
    const Texts expected = device.CallsWithout("AddTarget");
    device.Clear();
    lights.DrawShadow(&device, camera, depth, draw);
    EXPECT_EQ(device.calls, expected);
    EXPECT_EQ(seen[2], seen[0]);

    // Missing arguments, or no light that casts: nothing happens.
    device.Clear();
    lights.DrawShadow(nullptr, camera, depth, draw);
    lights.DrawShadow(&device, nullptr, depth, draw);
    lights.DrawShadow(&device, camera, nullptr, draw);
    lights.DrawShadow(&device, camera, depth, nullptr);
    for (const auto& each : lights.GetLights())
        each->SetCastShadow(false);
    lights.DrawShadow(&device, camera, depth, draw);
    EXPECT_TRUE(device.calls.empty());
    EXPECT_EQ(seen.size(), 4u);
    EXPECT_EQ(log.warnings, (Texts{"Device is null!", "Camera is null!", "Material is null!",
                                   "Shadow callback is null!"}));
}
