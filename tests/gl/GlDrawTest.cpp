#include "GlFixture.h"

#include <array>
#include <cstdio>

#include <glm/gtc/matrix_transform.hpp>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/light/DirectionalLight.h>
#include <orvkernel/light/LightManager.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/LineDashedMaterial.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/PointsMaterial.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvkernel/text/FontMaterial.h>
#include <orvkernel/texture/ImageTextureCube.h>

using namespace orvcore;
using namespace orvtest;

namespace {

using GlDrawTest = GlTest;

const Rgba kBlack{0, 0, 0, 255};

/// Pixel of a world point under a camera (bottom-left origin).
glm::ivec2 Project(const Camera& camera, const glm::vec3& point)
{
    const glm::vec4 clip = camera.GetViewProjectionMatrix() * glm::vec4(point, 1.0f);
    const glm::vec2 ndc = glm::vec2(clip) / clip.w;
    return glm::ivec2((ndc + 1.0f) * 0.5f * float(camera.GetWidth()));
}

int Brightness(const Rgba& c) { return c.r + c.g + c.b; }

TEST_F(GlDrawTest, BasicTriangleCoversTheCentreOnly)
{
    ClearBlack();
    auto material = BasicMaterial::Create("red");
    material->SetColor(glm::vec3(1.0f, 0.0f, 0.0f));
    auto triangle = std::make_shared<PrimitiveShape>(
        Geometry(PRIMITIVE_TRIANGLES, {Ndc(16, 16), Ndc(48, 16), Ndc(32, 48)}), material);
    ASSERT_NE(device->ActiveMaterial(material), nullptr);
    device->Draw(triangle.get(), glm::mat4(1.0f));
    Read();
    EXPECT_TRUE(Near(At(32, 32), Rgba{255, 0, 0, 255}, 0)) << At(32, 32);
    EXPECT_TRUE(Near(At(2, 2), kBlack, 0));
    EXPECT_TRUE(Near(At(61, 61), kBlack, 0));
    EXPECT_EQ(device->GetDrawCount(), 1u);

    // The model matrix moves it: shifted right by a quarter of the view.
    ClearBlack();
    device->Draw(triangle.get(), glm::translate(glm::mat4(1.0f), glm::vec3(0.5f, 0.0f, 0.0f)));
    Read();
    EXPECT_TRUE(Near(At(48, 24), Rgba{255, 0, 0, 255}, 0));
    EXPECT_TRUE(Near(At(20, 20), kBlack, 0));
}

TEST_F(GlDrawTest, FrontFacesOnlyUnlessDoubleSided)
{
    auto material = BasicMaterial::Create("sides");
    // Clockwise on screen: a back face.
    auto clockwise = Geometry(PRIMITIVE_TRIANGLES, {Ndc(16, 16), Ndc(32, 48), Ndc(48, 16)});
    ClearBlack();
    device->ActiveMaterial(material);
    device->Draw(clockwise.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(32, 28), kBlack, 0));

    material->SetFaceSide(FACE_DOUBLE);
    device->ActiveMaterial(material);
    device->Draw(clockwise.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(32, 28), Rgba{255, 255, 255, 255}, 0));
}

TEST_F(GlDrawTest, VertexColoursIndicesAndRangesAreHonoured)
{
    ClearBlack();
    // Two squares side by side sharing vertices through a 16-bit index:
    // the left one green, the right one blue by vertex colour.
    const std::vector<glm::vec3> points = {Ndc(4, 16),  Ndc(30, 16), Ndc(30, 48), Ndc(4, 48),
                                           Ndc(34, 16), Ndc(60, 16), Ndc(60, 48), Ndc(34, 48)};
    auto geometry = Geometry(PRIMITIVE_TRIANGLES, points);
    const std::vector<float> colors = {0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1};
    geometry->SetAttribute(ATTRIBUTE_COLOR, std::make_shared<BufferAttribute>(colors.data(), colors.size(), 3));
    geometry->SetIndex(std::make_shared<ElementAttribute>(std::vector<uint16_t>{0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7}));
    auto material = BasicMaterial::Create("colours");
    material->SetVertexColors(true);
    device->ActiveMaterial(material);
    // Only the second square: elements 6..11.
    device->Draw(geometry.get(), 6, 6);
    Read();
    EXPECT_TRUE(Near(At(16, 32), kBlack, 0));
    EXPECT_TRUE(Near(At(48, 32), Rgba{0, 0, 255, 255}, 0)) << At(48, 32);

    // Everything, with a 32-bit index this time.
    geometry->SetIndex(std::make_shared<ElementAttribute>(std::vector<uint32_t>{0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7}));
    device->Draw(geometry.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(16, 32), Rgba{0, 255, 0, 255}, 0)) << At(16, 32);
    EXPECT_TRUE(Near(At(48, 32), Rgba{0, 0, 255, 255}, 0));
}

TEST_F(GlDrawTest, MarkedStateBrightensAndOpacityBlends)
{
    device->SetClearColor(glm::vec4(0.0f, 0.0f, 1.0f, 1.0f));
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH);
    auto square = GeometryBuilder::CreatePlane(1.0f, 1.0f);

    auto marked = BasicMaterial::Create("marked");
    marked->SetColor(glm::vec3(0.5f, 0.0f, 0.0f));
    marked->SetState(MATERIAL_STATE_MARKED);
    device->ActiveMaterial(marked);
    device->Draw(square.get(), 0, 0);
    Read();
    const Rgba bright = At(32, 32);
    EXPECT_GT(bright.r, 140);
    EXPECT_GT(bright.g, 50);

    // Half-transparent red over the opaque blue background: purple.
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH);
    auto glass = BasicMaterial::Create("glass");
    glass->SetColor(glm::vec3(1.0f, 0.0f, 0.0f));
    glass->SetOpacity(0.5f);
    glass->BlendingMode = BLENDING_TRANSPARENT;
    glass->RequestUpdate();
    device->ActiveMaterial(glass);
    device->Draw(square.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(32, 32), Rgba{128, 0, 127, 255}, 2)) << At(32, 32);

    // Without blending the same colour replaces what is there.
    glass->BlendingMode = BLENDING_NONE;
    glass->RequestUpdate();
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH);
    device->ActiveMaterial(glass);
    device->Draw(square.get(), 0, 0);
    Read();
    EXPECT_EQ(At(32, 32).b, 0);
}

TEST_F(GlDrawTest, TransparentOverOpaqueWithDepth)
{
    auto camera = Camera::CreateOrthographic(kSize, kSize, 1.0f, -10.0f, 10.0f);
    device->SetCamera(camera);
    ClearBlack();
    auto plane = GeometryBuilder::CreatePlane(0.2f, 0.2f);
    auto opaque = BasicMaterial::Create("opaque");
    opaque->SetColor(glm::vec3(0.0f, 0.0f, 1.0f));
    auto glass = BasicMaterial::Create("glass");
    glass->SetColor(glm::vec3(1.0f, 0.0f, 0.0f));
    glass->SetOpacity(0.5f);
    glass->BlendingMode = BLENDING_TRANSPARENT;
    glass->DepthWrite = false;
    glass->RequestUpdate();

    const glm::mat4 front = glm::translate(glm::mat4(1.0f), glm::vec3(0.0f, 0.0f, 0.5f));
    device->ActiveMaterial(opaque);
    device->Draw(plane.get(), 0, 0);
    device->ActiveMaterial(glass);
    auto shape = std::make_shared<PrimitiveShape>(plane, glass);
    device->Draw(shape.get(), front);
    // Behind the opaque plane: hidden by the depth test.
    device->Draw(shape.get(), glm::translate(glm::mat4(1.0f), glm::vec3(0.0f, 0.0f, -0.5f)));
    Read();
    EXPECT_TRUE(Near(At(32, 32), Rgba{128, 0, 127, 255}, 2)) << At(32, 32);
}

TEST_F(GlDrawTest, PhongShadesFacesByTheirNormals)
{
    auto camera = std::make_shared<Camera>(kSize, kSize, glm::vec3(3.0f, -4.0f, 2.5f), glm::vec3(0.0f),
                                           glm::vec3(0.0f, 0.0f, 1.0f));
    device->SetCamera(camera);
    auto box = std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(1.0f)),
                                                MeshPhongMaterial::Create("phong"));
    const glm::ivec2 side = Project(*camera, glm::vec3(0.0f, -0.5f, 0.0f));
    const glm::ivec2 right = Project(*camera, glm::vec3(0.5f, 0.0f, 0.0f));
    const glm::ivec2 top = Project(*camera, glm::vec3(0.0f, 0.0f, 0.5f));

    // Without lights from a manager: one light from the eye; faces turned
    // differently towards the eye get different shades.
    ClearBlack();
    ASSERT_NE(device->ActiveMaterial(box->GetMaterial()), nullptr);
    device->Draw(box.get(), glm::mat4(1.0f));
    Read();
    const Rgba headSide = At(unsigned(side.x), unsigned(side.y));
    const Rgba headRight = At(unsigned(right.x), unsigned(right.y));
    EXPECT_GT(Brightness(headSide), 150) << headSide;
    EXPECT_GT(std::abs(Brightness(headSide) - Brightness(headRight)), 20) << headSide << headRight;

    // A light straight down: the top is lit, the sides only by the ambient.
    LightManager lights;
    auto sun = std::make_shared<DirectionalLight>();
    sun->SetDirection(glm::vec3(0.0f, 0.0f, -1.0f));
    sun->SetFollowCamera(false);
    lights.AddLight(sun);
    lights.SetAmbient(glm::vec3(0.2f));
    lights.UpdateUniformBlock(device.get(), camera);
    ClearBlack();
    ASSERT_NE(lights.ActiveMaterial(device.get(), box->GetMaterial().get()), nullptr);
    device->Draw(box.get(), glm::mat4(1.0f));
    Read();
    const Rgba litTop = At(unsigned(top.x), unsigned(top.y));
    const Rgba litSide = At(unsigned(side.x), unsigned(side.y));
    EXPECT_GT(litTop.r, 230) << litTop;
    EXPECT_TRUE(Near(litSide, Rgba{51, 51, 51, 255}, 3)) << litSide;
}

TEST_F(GlDrawTest, PointsAreRoundDiscsOfTheirSize)
{
    ClearBlack();
    auto material = PointsMaterial::Create("points");
    material->SetPointSize(10.0f);
    auto points = Geometry(PRIMITIVE_POINTS, {Ndc(32, 32)});
    device->ActiveMaterial(material);
    device->Draw(points.get(), 0, 0);
    Read();
    int widestRow = 0;
    int widestColumn = 0;
    int total = 0;
    for (unsigned int i = 0; i < kSize; ++i) {
        widestRow = std::max(widestRow, LitInRow(i));
        widestColumn = std::max(widestColumn, LitInColumn(i));
        total += LitInRow(i);
    }
    EXPECT_EQ(widestRow, 10);
    EXPECT_EQ(widestColumn, 10);
    // The corners of the 10 x 10 square are left out: about pi * 25 pixels.
    EXPECT_TRUE(Near(At(27, 27), kBlack, 0));
    EXPECT_TRUE(Near(At(36, 36), kBlack, 0));
    EXPECT_GT(total, 68);
    EXPECT_LT(total, 90);

    // DrawPoint: one point at a position with the current material.
    ClearBlack();
    material->SetPointSize(4.0f);
    device->ActiveMaterial(material);
    device->DrawPoint(Ndc(10, 50));
    device->DrawPoint(Ndc(50, 10));
    Read();
    EXPECT_TRUE(Near(At(10, 50), Rgba{255, 255, 255, 255}, 0));
    EXPECT_TRUE(Near(At(50, 10), Rgba{255, 255, 255, 255}, 0));
    EXPECT_EQ(LitInRow(50), 4);
}

TEST_F(GlDrawTest, LinesHaveTheirWidthInPixels)
{
    // A horizontal segment along the pixel centres of row 32.
    auto line = Geometry(PRIMITIVE_LINES, {Ndc(8, 32.5f), Ndc(56, 32.5f)});
    auto basic = BasicMaterial::Create("wide");
    basic->LineWidth = 5;
    basic->RequestUpdate();
    ClearBlack();
    device->ActiveMaterial(basic);
    device->Draw(line.get(), 0, 0);
    Read();
    EXPECT_EQ(LitInColumn(32), 5);
    EXPECT_EQ(LitInRow(32), 48);
    EXPECT_TRUE(Near(At(32, 30), Rgba{255, 255, 255, 255}, 0));
    EXPECT_TRUE(Near(At(32, 34), Rgba{255, 255, 255, 255}, 0));

    // A vertical strip drawn with the dashed template, 3 pixels wide.
    auto strip = Geometry(PRIMITIVE_LINE_STRIP, {Ndc(20.5f, 8), Ndc(20.5f, 56)});
    auto dashed = LineDashedMaterial::Create("dashed");
    dashed->LineWidth = 3;
    dashed->SetColor(glm::vec3(0.0f, 1.0f, 0.0f));
    ClearBlack();
    device->ActiveMaterial(dashed);
    device->Draw(strip.get(), 0, 0);
    Read();
    EXPECT_EQ(LitInRow(32), 3);
    EXPECT_EQ(LitInColumn(20), 48);
}

TEST_F(GlDrawTest, DashesFollowTheLineDistance)
{
    auto line = Geometry(PRIMITIVE_LINES, {Ndc(0, 32.5f), Ndc(64, 32.5f)});
    const float distances[] = {0.0f, 64.0f};
    line->SetAttribute(ATTRIBUTE_LINE_DISTANCE, std::make_shared<BufferAttribute>(distances, 2, 1));
    auto dashed = LineDashedMaterial::Create("dashes");
    dashed->SetDash(4.0f, 4.0f);
    ClearBlack();
    device->ActiveMaterial(dashed);
    device->Draw(line.get(), 0, 0);
    Read();
    EXPECT_EQ(LitInRow(32), 32);
    EXPECT_TRUE(Near(At(1, 32), Rgba{255, 255, 255, 255}, 0));
    EXPECT_TRUE(Near(At(6, 32), kBlack, 0));
    EXPECT_TRUE(Near(At(9, 32), Rgba{255, 255, 255, 255}, 0));

    // The same material on a line without distances draws it solid.
    auto plain = Geometry(PRIMITIVE_LINES, {Ndc(0, 20.5f), Ndc(64, 20.5f)});
    device->Draw(plain.get(), 0, 0);
    Read();
    EXPECT_EQ(LitInRow(20), 64);
}

TEST_F(GlDrawTest, TexturedQuadShowsTheImageUpright)
{
    // 2 x 2 image, rows from the top: red green / blue white.
    const uint8_t pixels[] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255};
    auto texture = std::make_shared<ImageTexture2D>(2, 2, pixels);
    auto material = BasicMaterial::Create("textured");
    material->AddTexture("map", texture);
    ClearBlack();
    device->ActiveMaterial(material);
    device->Draw(GeometryBuilder::CreatePlane(2.0f, 2.0f).get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(4, 60), Rgba{255, 0, 0, 255}, 1)) << At(4, 60);
    EXPECT_TRUE(Near(At(60, 60), Rgba{0, 255, 0, 255}, 1)) << At(60, 60);
    EXPECT_TRUE(Near(At(4, 4), Rgba{0, 0, 255, 255}, 1)) << At(4, 4);
    EXPECT_TRUE(Near(At(60, 4), Rgba{255, 255, 255, 255}, 1)) << At(60, 4);
    EXPECT_EQ(device->GetTextureUploadCount(), 1u);

    // A new image version is uploaded on the next activation.
    const uint8_t yellow[] = {255, 255, 0, 255};
    texture->SetImage(1, 1, yellow);
    device->ActiveMaterial(material);
    device->Draw(GeometryBuilder::CreatePlane(2.0f, 2.0f).get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(4, 4), Rgba{255, 255, 0, 255}, 1)) << At(4, 4);
    EXPECT_EQ(device->GetTextureUploadCount(), 2u);
}

TEST_F(GlDrawTest, FontTextIsTintedAndBillboarded)
{
    auto font = FontMaterial::Create("label");
    const auto size = font->SetText(L"MMMM", 32.0f, std::string());
    ASSERT_GT(size.first, 1u);
    font->SetColor(glm::vec3(1.0f, 0.0f, 0.0f));
    auto plane = GeometryBuilder::CreatePlane(2.0f, 2.0f);

    ClearBlack();
    ASSERT_NE(device->ActiveMaterial(font), nullptr);
    device->Draw(plane.get(), 0, 0);
    Read();
    int red = 0;
    int other = 0;
    for (unsigned int y = 0; y < kSize; ++y) {
        for (unsigned int x = 0; x < kSize; ++x) {
            const Rgba c = At(x, y);
            red += c.r > 200 ? 1 : 0;
            other += (c.g > 20 || c.b > 20) ? 1 : 0;
        }
    }
    EXPECT_GT(red, 200);
    EXPECT_GT(kSize * kSize - red, 200u);
    EXPECT_EQ(other, 0);

    // With a background colour the whole rectangle is opaque.
    font->SetBackground(glm::vec3(0.0f, 0.0f, 1.0f));
    font->SetText(L"MMMM", 32.0f, std::string());
    ClearBlack();
    device->ActiveMaterial(font);
    device->Draw(plane.get(), 0, 0);
    Read();
    int blue = 0;
    for (unsigned int y = 0; y < kSize; ++y)
        for (unsigned int x = 0; x < kSize; ++x)
            blue += At(x, y).b > 200 ? 1 : 0;
    EXPECT_GT(blue, 200);

    // A billboard faces the camera: a plane lying edge-on to the view is
    // still drawn.
    auto camera = std::make_shared<Camera>(kSize, kSize, glm::vec3(0.0f, -5.0f, 0.0f), glm::vec3(0.0f),
                                           glm::vec3(0.0f, 0.0f, 1.0f));
    device->SetCamera(camera);
    ClearBlack();
    device->ActiveMaterial(font);
    device->Draw(plane.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(32, 32), kBlack, 0));
    font->SetBillboard(true);
    device->ActiveMaterial(font);
    device->Draw(plane.get(), 0, 0);
    Read();
    EXPECT_FALSE(Near(At(32, 32), kBlack, 0));
}

TEST_F(GlDrawTest, EveryBuiltInTemplateBuildsWithItsLineVariant)
{
    MaterialManager::Instance().Build(device.get());
    EXPECT_TRUE(log.warnings.empty()) << log.warnings.front();
    EXPECT_TRUE(log.others.empty()) << log.others.front();
    for (const char* name : {"basic", "phong", "points", "dashed", "font", "background", "cube", "depth",
                             "ext/dark_depth", "ext/HorizontalBlur", "ext/VerticalBlur"})
        EXPECT_NE(device->GetProgram(name), nullptr) << name;

    auto line = Geometry(PRIMITIVE_LINE_LOOP, {Ndc(10, 10), Ndc(50, 10), Ndc(30, 50)});
    for (const char* name : {"basic", "phong", "dashed", "depth", "ext/dark_depth"}) {
        auto material = MaterialInstance::Create(std::string("lines.") + name, name);
        material->LineWidth = 3;
        material->RequestUpdate();
        ClearBlack();
        ASSERT_NE(device->ActiveMaterial(material), nullptr) << name;
        device->Draw(line.get(), 0, 0);
        Read();
        // The bottom edge, 3 pixels wide, in whatever colour the template
        // gives (the depth templates write packed depth or black with alpha).
        int drawn = 0;
        for (unsigned int y = 0; y < 20; ++y)
            drawn += Near(At(30, y), kBlack, 0) ? 0 : 1;
        EXPECT_EQ(drawn, 3) << name;
    }
    // The screen-space templates draw a full quad.
    for (const char* name : {"background", "ext/HorizontalBlur", "ext/VerticalBlur"}) {
        auto material = MaterialInstance::Create(std::string("quad.") + name, name);
        ClearBlack();
        ASSERT_NE(device->ActiveMaterial(material), nullptr) << name;
        device->DrawScreenQuad();
        Read();
        EXPECT_GT(At(1, 1).r, 100) << name;
    }
    EXPECT_TRUE(log.warnings.empty());
}

TEST_F(GlDrawTest, CubeTemplateShowsTheFaceInTheViewDirection)
{
    // Six one-colour faces written as PNG files and decoded back.
    const uint8_t colours[6][3] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 0}, {0, 255, 255}, {255, 0, 255}};
    std::array<std::string, 6> paths;
    for (int face = 0; face < 6; ++face) {
        std::vector<uint8_t> pixels;
        for (int i = 0; i < 4; ++i)
            pixels.insert(pixels.end(), {colours[face][0], colours[face][1], colours[face][2], 255});
        paths[std::size_t(face)] = ::testing::TempDir() + "orvkernel_gl_cube_" + std::to_string(face) + ".png";
        ASSERT_TRUE(GlRenderDevice::SavePng(paths[std::size_t(face)], 2, 2, pixels.data()));
    }
    auto cube = std::make_shared<ImageTextureCube>();
    ASSERT_TRUE(cube->Load(paths));
    for (const std::string& path : paths)
        std::remove(path.c_str());

    auto material = MaterialManager::Instance().Create("sky", "cube");
    material->AddTexture("envMap", cube);
    material->SetFaceSide(FACE_DOUBLE);
    auto box = GeometryBuilder::CreateBox(glm::vec3(2.0f));
    // Looking along +X, then along -Z.
    auto camera = std::make_shared<Camera>(kSize, kSize, glm::vec3(0.0f), glm::vec3(1.0f, 0.0f, 0.0f),
                                           glm::vec3(0.0f, 0.0f, 1.0f));
    device->SetCamera(camera);
    ClearBlack();
    ASSERT_NE(device->ActiveMaterial(material), nullptr);
    device->Draw(box.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(32, 32), Rgba{255, 0, 0, 255}, 1)) << At(32, 32);

    camera->LookAt(glm::vec3(0.0f), glm::vec3(0.0f, 0.0f, -1.0f), glm::vec3(0.0f, 1.0f, 0.0f));
    ClearBlack();
    device->ActiveMaterial(material);
    device->Draw(box.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(32, 32), Rgba{255, 0, 255, 255}, 1)) << At(32, 32);
    EXPECT_EQ(device->GetTextureUploadCount(), 1u);
}

} // namespace
