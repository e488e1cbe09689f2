#include "GlFixture.h"

#include <glm/gtc/matrix_transform.hpp>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/gl/GlShaderProgram.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/light/LightManager.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/LineDashedMaterial.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/PointsMaterial.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvkernel/text/FontMaterial.h>

using namespace orvcore;
using namespace orvtest;

namespace {

using GlDrawTest = GlTest;

const Rgba kBlack{0, 0, 0, 255};
const Rgba kWhite{255, 255, 255, 255};
const Rgba kRed{255, 0, 0, 255};
const Rgba kGreen{0, 255, 0, 255};
const Rgba kBlue{0, 0, 255, 255};

/// Pixel of a world point under a camera (bottom-left origin).
glm::ivec2 Project(const Camera& camera, const glm::vec3& point)
{
    const glm::vec4 clip = camera.GetViewProjectionMatrix() * glm::vec4(point, 1.0f);
    return glm::ivec2((glm::vec2(clip) / clip.w + 1.0f) * 0.5f * float(camera.GetWidth()));
}

int Brightness(const Rgba& c) { return c.r + c.g + c.b; }

TEST_F(GlDrawTest, TrianglesFacesVertexColoursIndicesAndRanges)
{
    ClearBlack();
    auto material = BasicMaterial::Create("red");
    material->SetColor(glm::vec3(1.0f, 0.0f, 0.0f));
    auto triangle = std::make_shared<PrimitiveShape>(
        Geometry(PRIMITIVE_TRIANGLES, {Ndc(16, 16), Ndc(48, 16), Ndc(32, 48)}), material);
    ASSERT_NE(device->ActiveMaterial(material), nullptr);
    device->Draw(triangle.get(), glm::mat4(1.0f));
    Read();
    EXPECT_TRUE(Near(At(32, 32), kRed, 0)) << At(32, 32);
    EXPECT_TRUE(Near(At(2, 2), kBlack, 0) && Near(At(61, 61), kBlack, 0));
    EXPECT_EQ(device->GetDrawCount(), 1u);

    // Clockwise on screen is a back face: drawn only when double-sided.
    auto clockwise = Geometry(PRIMITIVE_TRIANGLES, {Ndc(16, 16), Ndc(32, 48), Ndc(48, 16)});
    for (const bool both : {false, true}) {
        material->SetFaceSide(both ? FACE_DOUBLE : FACE_FRONT);
        Paint(material, clockwise);
        EXPECT_TRUE(Near(At(32, 28), both ? kRed : kBlack, 0)) << both;
    }

    // Two squares sharing vertices through a 16-bit index, the left one green
    // and the right one blue by vertex colour; only elements 6..11 drawn.
    ClearBlack();
    auto geometry = Geometry(PRIMITIVE_TRIANGLES, {Ndc(4, 16), Ndc(30, 16), Ndc(30, 48), Ndc(4, 48), Ndc(34, 16),
                                                   Ndc(60, 16), Ndc(60, 48), Ndc(34, 48)});
    const std::vector<float> colors = {0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1};
    geometry->SetAttribute(ATTRIBUTE_COLOR, std::make_shared<BufferAttribute>(colors.data(), colors.size(), 3));
    geometry->SetIndex(std::make_shared<ElementAttribute>(std::vector<uint16_t>{0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7}));
    auto coloured = BasicMaterial::Create("colours");
    coloured->SetVertexColors(true);
    device->ActiveMaterial(coloured);
    device->Draw(geometry.get(), 6, 6);
    Read();
    EXPECT_TRUE(Near(At(16, 32), kBlack, 0));
    EXPECT_TRUE(Near(At(48, 32), kBlue, 0)) << At(48, 32);
    // Everything, with a 32-bit index this time.
    geometry->SetIndex(std::make_shared<ElementAttribute>(std::vector<uint32_t>{0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7}));
    device->Draw(geometry.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(16, 32), kGreen, 0)) << At(16, 32);
    EXPECT_TRUE(Near(At(48, 32), kBlue, 0));
}

TEST_F(GlDrawTest, MarkedStateBrightensOpacityBlendsAndDepthHides)
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
    EXPECT_GT(At(32, 32).r, 140);
    EXPECT_GT(At(32, 32).g, 50);

    // Without blending a half-transparent red replaces what is there.
    auto glass = BasicMaterial::Create("glass");
    glass->SetColor(glm::vec3(1.0f, 0.0f, 0.0f));
    glass->SetOpacity(0.5f);
    device->ActiveMaterial(glass);
    device->Draw(square.get(), 0, 0);
    Read();
    EXPECT_TRUE(At(32, 32).r > 250 && At(32, 32).b == 0) << At(32, 32);

    // Blended, in front of an opaque blue plane it makes purple; behind it
    // the depth test hides it.
    device->SetCamera(Camera::CreateOrthographic(kSize, kSize, 1.0f, -10.0f, 10.0f));
    ClearBlack();
    auto opaque = BasicMaterial::Create("opaque");
    opaque->SetColor(glm::vec3(0.0f, 0.0f, 1.0f));
    glass->BlendingMode = BLENDING_TRANSPARENT;
    glass->DepthWrite = false;
    glass->RequestUpdate();
    auto plane = GeometryBuilder::CreatePlane(0.2f, 0.2f);
    device->ActiveMaterial(opaque);
    device->Draw(plane.get(), 0, 0);
    device->ActiveMaterial(glass);
    auto shape = std::make_shared<PrimitiveShape>(plane, glass);
    device->Draw(shape.get(), glm::translate(glm::mat4(1.0f), glm::vec3(0.0f, 0.0f, 0.5f)));
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
    const auto at = [&](const glm::vec3& p) {
        const glm::ivec2 pixel = Project(*camera, p);
        return At(unsigned(pixel.x), unsigned(pixel.y));
    };
    // Without lights from a manager: one light from the eye; faces turned
    // differently towards the eye get different shades.
    ClearBlack();
    ASSERT_NE(device->ActiveMaterial(box->GetMaterial()), nullptr);
    device->Draw(box.get(), glm::mat4(1.0f));
    Read();
    const Rgba side = at(glm::vec3(0.0f, -0.5f, 0.0f)), right = at(glm::vec3(0.5f, 0.0f, 0.0f));
    EXPECT_GT(Brightness(side), 150) << side;
    EXPECT_GT(std::abs(Brightness(side) - Brightness(right)), 20) << side << right;

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
    EXPECT_GT(at(glm::vec3(0.0f, 0.0f, 0.5f)).r, 230) << at(glm::vec3(0.0f, 0.0f, 0.5f));
    EXPECT_TRUE(Near(at(glm::vec3(0.0f, -0.5f, 0.0f)), Rgba{51, 51, 51, 255}, 3)) << at(glm::vec3(0, -0.5f, 0));
    const Rgba unlitRight = at(glm::vec3(0.5f, 0.0f, 0.0f));

    // Each light count draws with a program unrolled for it; a second light
    // from +x lights the right side, and removing it restores the first
    // image exactly.
    GlShaderProgram* program = device->GetProgram("phong");
    ASSERT_NE(program, nullptr);
    EXPECT_EQ(program->GetSpecialisation(), GlShaderProgram::Form(0, 1));
    auto east = std::make_shared<DirectionalLight>();
    east->SetDirection(glm::vec3(-1.0f, 0.0f, 0.0f));
    east->SetFollowCamera(false);
    for (int lit = 2; lit >= 1; --lit) {
        SCOPED_TRACE(lit);
        if (lit == 2)
            lights.AddLight(east);
        else
            lights.RemoveLight(east);
        lights.UpdateUniformBlock(device.get(), camera);
        ClearBlack();
        ASSERT_NE(lights.ActiveMaterial(device.get(), box->GetMaterial().get()), nullptr);
        device->Draw(box.get(), glm::mat4(1.0f));
        EXPECT_EQ(program->GetSpecialisation(), GlShaderProgram::Form(0, lit));
        EXPECT_NE(program->GetProgramName(GlShaderProgram::VARIANT_SURFACE, GlShaderProgram::Form(0, lit)), 0u);
        Read();
        EXPECT_GT(at(glm::vec3(0.0f, 0.0f, 0.5f)).r, 230);
        if (lit == 2)
            EXPECT_GT(at(glm::vec3(0.5f, 0.0f, 0.0f)).r, 230) << at(glm::vec3(0.5f, 0.0f, 0.0f));
        else
            EXPECT_TRUE(Near(at(glm::vec3(0.5f, 0.0f, 0.0f)), unlitRight, 0)) << at(glm::vec3(0.5f, 0.0f, 0.0f));
    }
}

// Round points of their size are drawn by the multisample and view layer
// tests; DrawPoint puts one at a position with the current material.
TEST_F(GlDrawTest, DrawPointUsesTheCurrentMaterial)
{
    auto material = PointsMaterial::Create("points");
    material->SetPointSize(4.0f);
    ClearBlack();
    device->ActiveMaterial(material);
    device->DrawPoint(Ndc(10, 50));
    device->DrawPoint(Ndc(50, 10));
    Read();
    EXPECT_TRUE(Near(At(10, 50), kWhite, 0) && Near(At(50, 10), kWhite, 0));
    EXPECT_EQ(LitInRow(50), 4);
}

TEST_F(GlDrawTest, DashesFollowTheLineDistance)
{
    // Dashes of 4 and gaps of 4 along the line distance; the same material
    // on a line without distances draws it solid. (Line widths: the line
    // variants of every template, below.)
    auto dashed = LineDashedMaterial::Create("dashed");
    dashed->SetDash(4.0f, 4.0f);
    dashed->SetColor(glm::vec3(1.0f));
    auto line = Geometry(PRIMITIVE_LINES, {Ndc(0, 32.5f), Ndc(64, 32.5f)});
    const float distances[] = {0.0f, 64.0f};
    line->SetAttribute(ATTRIBUTE_LINE_DISTANCE, std::make_shared<BufferAttribute>(distances, 2, 1));
    ClearBlack();
    device->ActiveMaterial(dashed);
    device->Draw(line.get(), 0, 0);
    device->Draw(Geometry(PRIMITIVE_LINES, {Ndc(0, 20.5f), Ndc(64, 20.5f)}).get(), 0, 0);
    Read();
    EXPECT_EQ(LitInRow(32), 32);
    EXPECT_TRUE(Near(At(1, 32), kWhite, 0) && Near(At(6, 32), kBlack, 0) && Near(At(9, 32), kWhite, 0));
    EXPECT_EQ(LitInRow(20), 64);
}

TEST_F(GlDrawTest, TexturedQuadShowsTheImageUpright)
{
    // 2 x 2 image, rows from the top: red green / blue white.
    const uint8_t pixels[] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255};
    auto texture = std::make_shared<ImageTexture2D>(2, 2, pixels);
    auto material = BasicMaterial::Create("textured");
    material->AddTexture("map", texture);
    auto plane = GeometryBuilder::CreatePlane(2.0f, 2.0f);
    Paint(material, plane);
    EXPECT_TRUE(Near(At(4, 60), kRed, 1)) << At(4, 60);
    EXPECT_TRUE(Near(At(60, 60), kGreen, 1)) << At(60, 60);
    EXPECT_TRUE(Near(At(4, 4), kBlue, 1)) << At(4, 4);
    EXPECT_TRUE(Near(At(60, 4), kWhite, 1)) << At(60, 4);
    EXPECT_EQ(device->GetTextureUploadCount(), 1u);
    // A new image version is uploaded on the next activation.
    const uint8_t yellow[] = {255, 255, 0, 255};
    texture->SetImage(1, 1, yellow);
    device->ActiveMaterial(material);
    device->Draw(plane.get(), 0, 0);
    Read();
    EXPECT_TRUE(Near(At(4, 4), Rgba{255, 255, 0, 255}, 1)) << At(4, 4);
    EXPECT_EQ(device->GetTextureUploadCount(), 2u);
}

TEST_F(GlDrawTest, FontTextIsTintedAndBillboarded)
{
    // Labels with a background are in the selection golden; here the tint
    // alone, and a billboard turned towards the camera.
    auto font = FontMaterial::Create("label");
    ASSERT_GT(font->SetText(L"MMMM", 32.0f, std::string()).first, 1u);
    font->SetColor(glm::vec3(1.0f, 0.0f, 0.0f));
    auto plane = GeometryBuilder::CreatePlane(2.0f, 2.0f);
    int red = 0, other = 0;
    const auto draw = [&] {
        ASSERT_TRUE(Paint(font, plane));
        red = other = 0;
        for (unsigned int y = 0; y < kSize; ++y)
            for (unsigned int x = 0; x < kSize; ++x) {
                red += At(x, y).r > 200 ? 1 : 0;
                other += At(x, y).g > 20 || At(x, y).b > 20 ? 1 : 0;
            }
    };
    draw();
    EXPECT_TRUE(red > 200 && red < int(kSize * kSize) - 200) << red;
    EXPECT_EQ(other, 0);
    // A plane lying edge-on to the view is drawn only as a billboard.
    device->SetCamera(std::make_shared<Camera>(kSize, kSize, glm::vec3(0.0f, -5.0f, 0.0f), glm::vec3(0.0f),
                                               glm::vec3(0.0f, 0.0f, 1.0f)));
    for (const bool billboard : {false, true}) {
        font->SetBillboard(billboard);
        draw();
        EXPECT_EQ(red > 50, billboard) << red;
    }
}

TEST_F(GlDrawTest, EveryBuiltInTemplateBuildsWithItsLineVariant)
{
    MaterialManager::Instance().Build(device.get());
    EXPECT_TRUE(log.warnings.empty() && log.others.empty());
    for (const char* name : {"basic", "phong", "points", "dashed", "font", "background", "cube", "depth",
                             "ext/dark_depth", "ext/HorizontalBlur", "ext/VerticalBlur"})
        EXPECT_NE(device->GetProgram(name), nullptr) << name;

    auto line = Geometry(PRIMITIVE_LINE_LOOP, {Ndc(10, 10), Ndc(50, 10), Ndc(30, 50)});
    for (const char* name : {"basic", "phong", "dashed", "depth", "ext/dark_depth"}) {
        auto material = MaterialInstance::Create(std::string("lines.") + name, name);
        material->LineWidth = 3;
        material->RequestUpdate();
        ASSERT_TRUE(Paint(material, line)) << name;
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

} // namespace
