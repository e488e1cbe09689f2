#include <orvcore/render/ColorBackground.h>
#include <orvcore/render/ImageBackground.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/render/SkyboxBackground.h>

#include <fstream>

#include <gtest/gtest.h>

#include "LogCapture.h"
#include "RecordingDevice.h"

using namespace orvcore;
using Calls = std::vector<std::string>;

namespace {

// A tiny binary PPM image file (stb reads PNM as well as PNG and JPEG).
std::string WritePpm(const std::string& name, unsigned w, unsigned h, uint8_t r, uint8_t g, uint8_t b)
{
    const std::string path = ::testing::TempDir() + name;
    std::ofstream out(path, std::ios::binary);
    out << "P6\n" << w << " " << h << "\n255\n";
    for (unsigned i = 0; i < w * h; ++i)
        out.put(char(r)).put(char(g)).put(char(b));
    return path;
}

const char* const kSkyClear = "SetClearColor(0.145098,0.686275,0.952941,1)";

struct Frame {
    orvtest::RecordingDevice device{64, 64};
    Renderer renderer{&device, 1.0f};
};

} // namespace

TEST(ImageTexture, LoadsNowOrWhenFirstNeeded)
{
    const std::string path = WritePpm("orv_red.ppm", 3, 2, 255, 0, 0);
    ImageTexture2D now;
    ASSERT_TRUE(now.Load(path));
    EXPECT_EQ(now.GetWidth(), 3u);
    EXPECT_EQ(std::vector<uint8_t>(now.GetPixels().begin(), now.GetPixels().begin() + 4),
              (std::vector<uint8_t>{255, 0, 0, 255})); // opaque alpha added
    ImageTexture2D later;
    const uint32_t version = later.GetVersion();
    later.LoadAsync(path);
    EXPECT_TRUE(later.IsPending());
    EXPECT_GT(later.GetVersion(), version);
    EXPECT_EQ(later.GetHeight(), 2u); // decoded on first use
    EXPECT_FALSE(later.IsPending());

    orvtest::LogCapture log;
    ImageTexture2D missing;
    EXPECT_FALSE(missing.Load("/nonexistent/sky.png"));
    EXPECT_TRUE(missing.IsEmpty());
    EXPECT_EQ(log.warnings, Calls{"Image file cannot be read: /nonexistent/sky.png!"});
    ImageTextureCube cube;
    const std::string face = WritePpm("orv_face.ppm", 4, 4, 0, 0, 255);
    EXPECT_TRUE(cube.Load({face, face, face, face, face, face}));
    EXPECT_EQ(cube.GetWidth(), 4u);
    EXPECT_EQ(cube.GetFace(5).size(), 64u);
    EXPECT_FALSE(cube.Load({face, face, face, path, face, face})); // not square
    EXPECT_TRUE(cube.IsEmpty());
}

TEST(Background, ColourAndImageClearEveryBuffer)
{
    Frame frame;
    ColorBackground(glm::vec4(0.25f, 0.5f, 0.75f, 0.0f)).Render(&frame.renderer, nullptr);
    ImageBackground(nullptr).Render(&frame.renderer, nullptr); // no image: sky blue
    ImageBackground image(std::make_shared<ImageTexture2D>(2, 2));
    EXPECT_TRUE(image.GetMaterial()->GetTexture("t2D"));
    EXPECT_FALSE(image.GetMaterial()->DepthWrite);
    image.Render(&frame.renderer, nullptr);
    EXPECT_EQ(frame.device.calls, (Calls{"SetClearColor(0.25,0.5,0.75,0)", "ClearBuffers(0x4500)", kSkyClear,
                                         "ClearBuffers(0x4500)", "ClearBuffers(0x4500)", "ActiveMaterial(sys.bkg.t)",
                                         "DrawScreenQuad"}));
    orvtest::LogCapture log;
    ColorBackground().ClearView(nullptr);
    EXPECT_EQ(log.warnings, Calls{"RenderDevice is null!"});
}

TEST(SkyboxBackground, DrawsInPerspectiveAndRestoresOrthographic)
{
    Frame frame;
    auto camera = std::make_shared<Camera>(64, 64, glm::vec3(0, -10, 0), glm::vec3(0.0f), glm::vec3(0, 0, 1));
    camera->SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    auto sky = SkyboxBackground::Create("ignored");
    ASSERT_TRUE(sky->GetTexture());
    EXPECT_TRUE(sky->GetTexture()->IsPending()); // loaded when first drawn
    const auto& geometry = sky->GetSky()->GetGeometry();
    EXPECT_EQ(geometry->GetVertexCount(), 36u);
    sky->Render(&frame.renderer, camera);
    const std::string draw = "DrawGeometry(" + std::to_string(geometry->GetObjectId()) + ",0,0)";
    EXPECT_EQ(frame.device.CallsWithout("SetUniform"),
              (Calls{kSkyClear, "ClearBuffers(0x4500)", "SetCamera", "ActiveMaterial(sys.bkg.cube)", draw,
                     "SetCamera"}));
    EXPECT_EQ(camera->GetProjectionType(), uint32_t(Camera::PROJECTION_ORTHOGRAPHIC));
    ASSERT_NE(frame.device.program.Find("modelViewMatrix"), nullptr);
    // The uniform is set once: setting the same value again changes nothing.
    EXPECT_FALSE(sky->GetSky()->GetMaterial()->SetUniform("flipEnvMap", -1.0f));

    // Without a program the sky is not drawn, with a warning.
    orvtest::LogCapture log;
    frame.device.Clear();
    camera->SetProjectionType(Camera::PROJECTION_PERSPECTIVE);
    sky->GetSky()->GetMaterial()->SetTemplate(nullptr);
    sky->Render(&frame.renderer, camera);
    EXPECT_EQ(frame.device.calls, (Calls{kSkyClear, "ClearBuffers(0x4500)", "ActiveMaterial(sys.bkg.cube)"}));
    EXPECT_EQ(log.warnings, Calls{"SkyBox Shader Program is null!"});
    // Without a texture only the clear happens.
    frame.device.Clear();
    SkyboxBackground(nullptr).Render(&frame.renderer, camera);
    EXPECT_EQ(frame.device.calls, (Calls{kSkyClear, "ClearBuffers(0x4500)"}));
}
