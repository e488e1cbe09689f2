#include "GlFixture.h"
#include "LogCapture.h"

#include <orvkernel/device/RenderTarget.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/gl/GlShaderProgram.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvkernel/material/RawShader.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvkernel/texture/ImageTextureCube.h>
#include <orvkernel/texture/TargetTexture.h>
#include <orvkernel/texture/TextureTarget.h>

using namespace orvcore;
using namespace orvtest;

namespace {

using GlResourceTest = GlTest;

const Rgba kBlack{0, 0, 0, 255};
const Rgba kWhite{255, 255, 255, 255};

std::shared_ptr<PrimitiveShape> FullSquare(const std::shared_ptr<MaterialInstance>& material)
{
    return std::make_shared<PrimitiveShape>(GeometryBuilder::CreatePlane(2.0f, 2.0f), material);
}

TEST_F(GlResourceTest, UnchangedGeometryIsUploadedOnce)
{
    auto material = BasicMaterial::Create("m");
    auto shape = FullSquare(material);
    device->ActiveMaterial(material);
    device->Draw(shape.get(), glm::mat4(1.0f));
    // Positions, normals, uv and the index.
    const uint64_t first = device->GetUploadCount();
    EXPECT_EQ(first, 4u);
    for (int frame = 0; frame < 3; ++frame) {
        device->ActiveMaterial(material);
        device->Draw(shape.get(), glm::mat4(1.0f));
    }
    EXPECT_EQ(device->GetUploadCount(), first);

    // A changed vertex re-uploads that attribute only.
    auto positions = shape->GetGeometry()->GetPositions();
    positions->SetVec3(0, glm::vec3(-1.0f, -1.0f, 0.5f));
    device->Draw(shape.get(), glm::mat4(1.0f));
    EXPECT_EQ(device->GetUploadCount(), first + 1);

    // So does a new attribute object in a slot, even at the same version.
    shape->GetGeometry()->SetAttribute(ATTRIBUTE_POSITION, positions->Clone());
    device->Draw(shape.get(), glm::mat4(1.0f));
    EXPECT_EQ(device->GetUploadCount(), first + 2);
    // And a new index list.
    shape->GetGeometry()->SetIndex(shape->GetGeometry()->GetIndex()->Clone());
    device->Draw(shape.get(), glm::mat4(1.0f));
    EXPECT_EQ(device->GetUploadCount(), first + 3);
    EXPECT_EQ(device->GetGeometryCount(), 1u);
}

TEST_F(GlResourceTest, RepeatedActivationSetsNothingAgain)
{
    auto material = BasicMaterial::Create("m");
    auto shape = FullSquare(material);
    GlShaderProgram* program = device->GetProgram("basic");
    ASSERT_NE(program, nullptr);
    EXPECT_EQ(device->ActiveMaterial(material), program);
    device->Draw(shape.get(), glm::mat4(1.0f));
    const uint64_t uniforms = program->GetUniformUploadCount();
    device->ActiveMaterial(material);
    device->Draw(shape.get(), glm::mat4(1.0f));
    EXPECT_EQ(program->GetUniformUploadCount(), uniforms);

    // A colour change uploads that uniform alone.
    material->SetColor(glm::vec3(0.0f, 1.0f, 0.0f));
    device->ActiveMaterial(material);
    device->Draw(shape.get(), glm::mat4(1.0f));
    EXPECT_EQ(program->GetUniformUploadCount(), uniforms + 1);
    Read();
    EXPECT_TRUE(Near(At(32, 32), Rgba{0, 255, 0, 255}, 0));

    // Two materials of one template take turns: each activation restores
    // its own colour.
    auto red = BasicMaterial::Create("red");
    red->SetColor(glm::vec3(1.0f, 0.0f, 0.0f));
    device->ActiveMaterial(red);
    device->Draw(shape.get(), glm::mat4(1.0f));
    device->ActiveMaterial(material);
    device->Draw(shape.get(), glm::mat4(1.0f));
    Read();
    EXPECT_TRUE(Near(At(32, 32), Rgba{0, 255, 0, 255}, 0));
}

TEST_F(GlResourceTest, MaterialFeaturesDrawWithProgramsMadeForThem)
{
    // One template, three feature sets: each draws with its own program,
    // built on first use, and switching back and forth never shows another
    // set's result.
    auto plain = BasicMaterial::Create("plain");
    auto mapped = BasicMaterial::Create("mapped");
    const uint8_t red[] = {255, 0, 0, 255};
    mapped->AddTexture("map", std::make_shared<ImageTexture2D>(1, 1, red));
    auto coloured = BasicMaterial::Create("coloured");
    coloured->SetVertexColors(true);
    auto square = FullSquare(plain);
    const std::vector<float> green(4 * 4, 0.0f);
    auto colours = std::make_shared<BufferAttribute>(green.data(), green.size(), 4);
    for (uint32_t v = 0; v < 4; ++v)
        colours->SetVec4(v, glm::vec4(0.0f, 1.0f, 0.0f, 1.0f));
    square->GetGeometry()->SetAttribute(ATTRIBUTE_COLOR, colours);

    GlShaderProgram* program = device->GetProgram("basic");
    ASSERT_NE(program, nullptr);
    const struct {
        std::shared_ptr<MaterialInstance> material;
        uint32_t form;
        Rgba expected;
    } draws[] = {{plain, 0u, kWhite},
                 {mapped, GlShaderProgram::FEATURE_MAP, Rgba{255, 0, 0, 255}},
                 {coloured, GlShaderProgram::FEATURE_VERTEX_COLORS, Rgba{0, 255, 0, 255}},
                 {plain, 0u, kWhite},
                 {mapped, GlShaderProgram::FEATURE_MAP, Rgba{255, 0, 0, 255}}};
    for (const auto& draw : draws) {
        SCOPED_TRACE(draw.material->GetName());
        device->ActiveMaterial(draw.material);
        EXPECT_EQ(program->GetSpecialisation(), draw.form);
        device->Draw(square.get(), glm::mat4(1.0f));
        EXPECT_NE(program->GetProgramName(GlShaderProgram::VARIANT_SURFACE, draw.form), 0u);
        Read();
        EXPECT_TRUE(Near(At(32, 32), draw.expected, 1));
    }
    EXPECT_NE(program->GetProgramName(GlShaderProgram::VARIANT_SURFACE, 0u),
              program->GetProgramName(GlShaderProgram::VARIANT_SURFACE, GlShaderProgram::FEATURE_MAP));
    // A program whose shaders test no feature has its general form only.
    GlShaderProgram* depth = device->GetProgram("depth");
    ASSERT_NE(depth, nullptr);
    EXPECT_EQ(depth->GetSpecialisation(), GlShaderProgram::kGeneral);
}

TEST_F(GlResourceTest, GcFreesWhatTheSceneNoLongerHolds)
{
    auto material = BasicMaterial::Create("m");
    const uint8_t pixel[] = {255, 0, 0, 255};
    material->AddTexture("map", std::make_shared<ImageTexture2D>(1, 1, pixel));
    auto kept = FullSquare(material);
    auto dropped = FullSquare(material);
    device->ActiveMaterial(material);
    device->Draw(kept.get(), glm::mat4(1.0f));
    device->Draw(dropped.get(), glm::mat4(1.0f));
    EXPECT_EQ(device->GetGeometryCount(), 2u);
    EXPECT_EQ(device->GetTextureCount(), 1u);

    dropped.reset();
    device->Gc();
    EXPECT_EQ(device->GetGeometryCount(), 1u);

    // A geometry drawn by raw pointer only lives while it is drawn between
    // two Gc calls.
    auto raw = GeometryBuilder::CreatePlane(1.0f, 1.0f);
    device->Draw(raw.get(), 0, 0);
    EXPECT_EQ(device->GetGeometryCount(), 2u);
    device->Gc();
    EXPECT_EQ(device->GetGeometryCount(), 2u);
    device->Gc();
    EXPECT_EQ(device->GetGeometryCount(), 1u);

    // The texture goes with the last material holding it. The shape kept
    // alive (not drawn since the first Gc) is drawn again without a fresh upload.
    material->RemoveTexture("map");
    device->Gc();
    EXPECT_EQ(device->GetTextureCount(), 0u);
    const uint64_t uploads = device->GetUploadCount();
    device->ActiveMaterial(material);
    device->Draw(kept.get(), glm::mat4(1.0f));
    EXPECT_EQ(device->GetUploadCount(), uploads);
}

TEST_F(GlResourceTest, BadGeometryIsSkippedWithOneWarning)
{
    ClearBlack();
    auto square = FullSquare(nullptr);
    device->Draw(square.get(), glm::mat4(1.0f)); // nothing active yet
    device->DrawScreenQuad();
    device->DrawPoint(glm::vec3(0.0f));
    auto material = BasicMaterial::Create("m");
    device->ActiveMaterial(material);
    auto empty = std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES);
    auto indexed = Geometry(PRIMITIVE_TRIANGLES, {Ndc(0, 0), Ndc(64, 0), Ndc(64, 64)});
    indexed->SetIndex(std::make_shared<ElementAttribute>(std::vector<uint16_t>{0, 1, 3})); // past the last vertex
    auto shortColours = Geometry(PRIMITIVE_TRIANGLES, {Ndc(0, 0), Ndc(64, 0), Ndc(64, 64)});
    const float colours[] = {1.0f, 0.0f, 0.0f};
    shortColours->SetAttribute(ATTRIBUTE_COLOR, std::make_shared<BufferAttribute>(colours, 3, 3));
    for (int twice = 0; twice < 2; ++twice) // each fault warns once
        for (const auto& g : {empty, indexed, shortColours})
            device->Draw(g.get(), 0, 0);
    // A shape without geometry, and null pointers.
    auto hollow = std::make_shared<PrimitiveShape>();
    device->Draw(hollow.get(), glm::mat4(1.0f));
    device->Draw(static_cast<PrimitiveShape*>(nullptr), glm::mat4(1.0f));
    device->Draw(static_cast<BufferGeometry*>(nullptr), 0, 0);
    ASSERT_EQ(log.warnings.size(), 7u);
    EXPECT_EQ(std::vector<std::string>(log.warnings.begin(), log.warnings.begin() + 4),
              (std::vector<std::string>{"No material is active!", "Geometry has no positions!",
                                        "Geometry index is past the vertex count!",
                                        "Vertex attribute is shorter than the positions: slot 3!"}));
    Read();
    EXPECT_TRUE(Near(At(60, 4), kBlack, 0));
    EXPECT_EQ(device->GetDrawCount(), 0u);

    // Once fixed, the geometry is drawn; ranges past the end draw nothing, silently.
    indexed->GetIndex()->Set(2, 2);
    indexed->GetIndex()->RaiseVersion();
    device->Draw(indexed.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(60, 4), kWhite, 0));
    device->Draw(indexed.get(), 3, 3);
    EXPECT_EQ(device->GetDrawCount(), 1u);
    EXPECT_EQ(log.warnings.size(), 7u);
}

TEST_F(GlResourceTest, MaterialsWithoutProgramSkipTheirDraws)
{
    ClearBlack();
    auto square = FullSquare(nullptr);
    MaterialManager::Instance().AddTemplate(std::make_shared<MaterialTemplate>("gl.test.custom", 0u));
    auto stray = BasicMaterial::Create("stray"); // a texture under a sampler the program lacks
    stray->AddTexture("envMap", std::make_shared<ImageTexture2D>(1, 1, nullptr));
    auto mismatched = BasicMaterial::Create("mismatched"); // a cube map where an image is sampled
    mismatched->AddTexture("map", std::make_shared<ImageTextureCube>());
    // No template at all; a template the device has no shaders for: each warns once.
    const std::shared_ptr<MaterialInstance> materials[] = {
        MaterialInstance::Create("bare"), MaterialManager::Instance().Create("custom", "gl.test.custom"), stray,
        mismatched};
    for (const auto& material : materials)
        for (int twice = 0; twice < 2; ++twice) {
            EXPECT_EQ(device->ActiveMaterial(material), nullptr) << material->GetName();
            device->Draw(square.get(), glm::mat4(1.0f));
        }
    // A raw shader whose source does not compile: the compiler's log goes to
    // the logger, the material warns once.
    auto broken = RawShader::Create("broken", "void main() { gl_Position = vec4(0.0); }", "this is not GLSL");
    EXPECT_EQ(device->ActiveShader(broken.get()), nullptr);
    EXPECT_EQ(device->ActiveShader(broken.get()), nullptr);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Shader program is not available: !",
                                                      "Shader program is not available: gl.test.custom!",
                                                      "Texture sampler is not found: envMap!",
                                                      "Texture does not fit the sampler: map!",
                                                      "Shader program is not available: raw!"}));
    ASSERT_FALSE(log.others.empty());
    EXPECT_NE(log.others.back().find("Shader compilation failed"), std::string::npos);
    Read();
    EXPECT_TRUE(Near(At(32, 32), kBlack, 0));
    EXPECT_EQ(device->GetDrawCount(), 0u);

    // A material that works after those that did not draws normally; a
    // uniform of the wrong type is refused, one the program lacks ignored.
    auto good = BasicMaterial::Create("good");
    good->SetUniform("opacity", glm::vec3(0.0f));
    good->SetUniform("unknownName", 0.0f);
    ASSERT_NE(device->ActiveMaterial(good), nullptr);
    device->Draw(square.get(), glm::mat4(1.0f));
    Read();
    EXPECT_TRUE(Near(At(32, 32), kWhite, 0));
    EXPECT_EQ(log.warnings.size(), 6u);
    EXPECT_EQ(log.warnings.back(), "Uniform type does not match: opacity!");
}

TEST_F(GlResourceTest, RawShadersAndUserModelMatrices)
{
    // A pass of its own sources, with the library's declarations included.
    auto tint = RawShader::Create("tint", "#include \"vertex_common.glsl\"\n"
                                          "void main() { PassVaryings(vec4(position, 1.0));"
                                          " gl_Position = vec4(position.xy, 0.0, 1.0); }\n",
                                  "#include \"fragment_common.glsl\"\n"
                                  "uniform vec3 tint;\n"
                                  "void main() { fragColor = vec4(tint * vIn.uv.x, 1.0); }\n");
    tint->SetUniform("tint", glm::vec3(0.0f, 1.0f, 0.0f));
    ClearBlack();
    ASSERT_NE(device->ActiveShader(tint.get()), nullptr);
    device->DrawScreenQuad();
    Read();
    EXPECT_LT(At(1, 32).g, 10);
    EXPECT_GT(At(62, 32).g, 245);

    // Draw(geometry) keeps a model matrix set on the program after
    // activation; activation resets it to identity.
    auto material = BasicMaterial::Create("m");
    auto square = GeometryBuilder::CreatePlane(0.5f, 0.5f);
    ClearBlack();
    GpuShaderProgram* program = device->ActiveMaterial(material);
    ASSERT_NE(program, nullptr);
    const glm::mat4 right = glm::mat4(glm::vec4(1, 0, 0, 0), glm::vec4(0, 1, 0, 0), glm::vec4(0, 0, 1, 0),
                                      glm::vec4(0.5f, 0, 0, 1));
    program->SetUniform("modelMatrix", right);
    program->SetUniform("modelViewMatrix", right);
    device->Draw(square.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(48, 32), kWhite, 0));
    EXPECT_TRUE(Near(At(32, 32), kBlack, 0));
    ClearBlack();
    device->ActiveMaterial(material);
    device->Draw(square.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(32, 32), kWhite, 0));
}

TEST_F(GlResourceTest, DrawUniformsSetByNumberOrByNameAreOneValue)
{
    auto material = BasicMaterial::Create("m");
    auto square = GeometryBuilder::CreatePlane(0.5f, 0.5f);
    auto* program = static_cast<GlShaderProgram*>(device->ActiveMaterial(material));
    ASSERT_NE(program, nullptr);
    const auto shifted = [](float x) {
        return glm::mat4(glm::vec4(1, 0, 0, 0), glm::vec4(0, 1, 0, 0), glm::vec4(0, 0, 1, 0), glm::vec4(x, 0, 0, 1));
    };
    // The later setting wins whichever way each was made.
    program->SetUniform(GlShaderProgram::UNIFORM_MODEL_VIEW_MATRIX, shifted(-0.5f));
    program->SetUniform("modelViewMatrix", shifted(0.5f));
    ClearBlack();
    device->Draw(square.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(48, 32), kWhite, 0));
    EXPECT_TRUE(Near(At(16, 32), kBlack, 0));
    program->SetUniform(GlShaderProgram::UNIFORM_MODEL_VIEW_MATRIX, shifted(-0.5f));
    ClearBlack();
    device->Draw(square.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(16, 32), kWhite, 0));
    EXPECT_TRUE(Near(At(48, 32), kBlack, 0));

    // A value of the wrong type is refused with one warning, by number as
    // by name, and the draw keeps the last good one.
    orvtest::LogCapture log;
    program->SetUniform(GlShaderProgram::UNIFORM_MODEL_VIEW_MATRIX, 1.0f);
    program->SetUniform("modelViewMatrix", 2);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Uniform type does not match: modelViewMatrix!"});
    ClearBlack();
    device->Draw(square.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(16, 32), kWhite, 0));
    program->SetUniform(GlShaderProgram::EnumDrawUniform(99), glm::mat4(1.0f)); // ignored
}

TEST_F(GlResourceTest, OpensACoreContextOfAtLeast33)
{
    int major = 0;
    int minor = 0;
    ASSERT_EQ(std::sscanf(context->GetVersionName().c_str(), "%d.%d", &major, &minor), 2)
        << context->GetVersionName();
    EXPECT_GE(major * 10 + minor, 33);
#ifndef NDEBUG
    EXPECT_TRUE(context->HasDebugOutput());
#endif
    // Images are written by the golden and program tests; bad arguments are refused.
    const uint8_t pixels[16 * 4] = {};
    EXPECT_FALSE(GlRenderDevice::SavePng(::testing::TempDir() + "x.png", 0, 4, pixels));
    EXPECT_FALSE(GlRenderDevice::SavePng(::testing::TempDir() + "x.png", 4, 4, nullptr));
    EXPECT_FALSE(GlRenderDevice::SavePng("/nonexistent-dir/x.png", 4, 4, pixels));
    EXPECT_EQ(log.warnings.size(), 3u);
}

TEST_F(GlResourceTest, TargetsGetTheirOwnBuffersAndBecomeTextures)
{
    auto target = std::make_shared<RenderTarget>(16, 8);
    device->AddTarget("offscreen", target);
    EXPECT_EQ(device->FindTarget("offscreen"), target);
    EXPECT_EQ(device->FindTarget("missing"), nullptr);

    device->SetTarget(target, nullptr);
    device->SetClearColor(glm::vec4(0.0f, 1.0f, 0.0f, 1.0f));
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH);
    Read();
    ASSERT_EQ(std::make_pair(image->GetWidth(), image->GetHeight()), std::make_pair(16u, 8u));
    EXPECT_TRUE(Near(At(15, 7), Rgba{0, 255, 0, 255}, 0));

    // Back on the default framebuffer (targets sampled as textures: MsaaTest).
    device->SetTarget(nullptr, nullptr);
    EXPECT_EQ(device->GetPreviousTarget(), target);
    EXPECT_EQ(device->GetTargetObjectCount(), 1u);
    // A target nobody holds any more loses its framebuffer at Gc.
    device->AddTarget("offscreen", std::make_shared<RenderTarget>(4, 4));
    device->SetTarget(nullptr, nullptr);
    target.reset();
    device->Gc();
    EXPECT_EQ(device->GetTargetObjectCount(), 0u);
}

TEST_F(GlResourceTest, TextureTargetsAreSampledThroughTheirTexture)
{
    // Drawn blue, then shown by a material: the texture is what was drawn.
    TextureDesc nearest;
    nearest.MinFilter = nearest.MagFilter = 0x2600;
    TextureDesc floating = nearest;
    floating.InternalFormat = 0x8814; // GL_RGBA32F: not made here, RGBA8 instead
    floating.Type = 0x1406;
    for (const TextureDesc& desc : {nearest, floating}) {
        auto target = TextureTarget::Create(4, 4, desc);
        device->AddTarget("drawn", target);
        device->SetTarget(target, nullptr);
        ClearTo(glm::vec4(0.0f, 0.0f, 1.0f, 1.0f));
        device->SetTarget(nullptr, nullptr);
        auto show = BasicMaterial::Create("show.target");
        show->AddTexture("map", target->GetTexture());
        ASSERT_TRUE(Paint(show, orvtest::Square(0, 0, 0, 1)->GetGeometry()));
        EXPECT_TRUE(Near(At(kSize / 2, kSize / 2), Rgba{0, 0, 255, 255}, 0));
        EXPECT_EQ(target->GetTexture()->GetWidth(), 4u);
    }
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Texture target format is not supported: RGBA8 used!"});
    // A texture whose target is gone samples nothing: the draw is refused.
    auto orphan = TextureTarget::Create(2, 2, TextureDesc())->GetTexture();
    auto show = BasicMaterial::Create("show.orphan");
    show->AddTexture("map", orphan);
    EXPECT_EQ(orphan->GetWidth(), 0u);
    EXPECT_FALSE(Paint(show, orvtest::Square(0, 0, 0, 1)->GetGeometry()));
}

} // namespace
