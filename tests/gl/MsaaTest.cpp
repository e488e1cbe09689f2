#include "GlFixture.h"

#include <cmath>

#include <orvkernel/device/RenderTarget.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/PointsMaterial.h>
#include <orvkernel/material/RawShader.h>

using namespace orvcore;
using namespace orvtest;

namespace {

enum EnumShape { TRIANGLE, POINT, BLENDED_POINT, LINE };

/// One way of drawing a black shape on white, and what its edge must look
/// like afterwards. Every case resizes the context to 48 x 40 first.
struct Case {
    const char* name;
    unsigned int contextSamples;
    int targetSamples;          ///< -1: draw on the context's framebuffer
    unsigned int deviceSamples; ///< GlRenderDeviceOptions::TargetSamples
    bool sampleTarget;          ///< show the target through its texture, else read it back
    EnumShape shape;
    bool smooth; ///< a third of the edge pixels grey, else none
};

const Case kCases[] = {
    {"Window1x", 1, -1, 4, false, TRIANGLE, false},
    {"Window4x", 4, -1, 4, false, TRIANGLE, true},
    {"WindowBeyondTheDriver", 1000, -1, 4, false, TRIANGLE, true},
    {"Target4xReadBack", 1, 4, 1, false, TRIANGLE, true},
    {"Target4xSampled", 1, 4, 1, true, TRIANGLE, true},
    {"TargetDeviceDefault", 1, 0, 4, true, TRIANGLE, true},
    {"TargetDeviceSingle", 4, 0, 1, false, TRIANGLE, false},
    {"Target1xSampledOn4x", 4, 1, 4, true, TRIANGLE, false},
    {"TargetBeyondTheDriver", 1, 1000, 4, false, TRIANGLE, true},
    {"Point1x", 1, -1, 4, false, POINT, false},
    {"Point4x", 4, -1, 4, false, POINT, true},
    {"PointInTarget4x", 1, 4, 1, true, POINT, true},
    {"BlendedPoint4x", 4, -1, 4, false, BLENDED_POINT, true},
    {"Line1x", 1, -1, 4, false, LINE, false},
    {"Line4x", 4, -1, 4, false, LINE, true},
};

/// The shapes in pixels: a triangle with edges of several slopes, a point of
/// radius 10.5 and a sloped line 3 pixels wide across the whole view (lines
/// keep their width in pixels, multisampled or not).
const glm::vec2 kTriangle[3] = {{6.3f, 5.1f}, {41.7f, 13.4f}, {17.2f, 36.6f}};
const glm::vec2 kPointCentre{21.3f, 18.6f};
constexpr float kPointSize = 21.0f;
const glm::vec2 kLine[2] = {{-10.0f, 5.0f}, {60.0f, 35.0f}};

bool Inside(EnumShape shape, glm::vec2 p)
{
    const glm::vec2 along = glm::normalize(kLine[1] - kLine[0]), off = p - kLine[0];
    if (shape == LINE)
        return std::fabs(along.x * off.y - along.y * off.x) <= 1.5f;
    if (shape != TRIANGLE)
        return glm::length(p - kPointCentre) <= kPointSize * 0.5f;
    for (int i = 0; i < 3; ++i) {
        const glm::vec2 a = kTriangle[i], b = kTriangle[(i + 1) % 3];
        if ((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x) < 0.0f)
            return false;
    }
    return true;
}

class MsaaFixture : public GlTest {
protected:
    void SetUp() override {}

    void Open(unsigned int samples, unsigned int targetSamples)
    {
        context = EglContext::Create(kSize, kSize, samples);
        ASSERT_TRUE(context) << "no headless OpenGL context";
        GlRenderDeviceOptions options;
        options.TargetSamples = targetSamples;
        device = std::make_unique<GlRenderDevice>(context->GetFramebuffer(), kSize, kSize, options);
    }

    glm::vec3 ToNdc(glm::vec2 p, float z = 0.0f) const
    {
        return glm::vec3(p / glm::vec2(context->GetWidth(), context->GetHeight()) * 2.0f - 1.0f, z);
    }

    /// Draws the shape in black at depth z.
    void DrawShape(EnumShape shape, float z = 0.0f)
    {
        std::shared_ptr<MaterialInstance> material = BasicMaterial::Create("black");
        auto geometry =
            Geometry(PRIMITIVE_TRIANGLES, {ToNdc(kTriangle[0], z), ToNdc(kTriangle[1], z), ToNdc(kTriangle[2], z)});
        if (shape == LINE) {
            material->LineWidth = 3;
            geometry = Geometry(PRIMITIVE_LINES, {ToNdc(kLine[0]), ToNdc(kLine[1])});
        } else if (shape != TRIANGLE) {
            auto points = PointsMaterial::Create("black");
            points->SetPointSize(kPointSize);
            points->BlendingMode = shape == BLENDED_POINT ? BLENDING_NORMAL : BLENDING_NONE;
            material = points;
            geometry = Geometry(PRIMITIVE_POINTS, {ToNdc(kPointCentre)});
        }
        material->SetColor(glm::vec3(0.0f));
        device->ActiveMaterial(material);
        device->Draw(geometry.get(), 0, 0);
    }

    /// Shows a target's attachment over the whole default framebuffer, through
    /// a program of the background template or the one given.
    void ShowTarget(const std::shared_ptr<RenderTarget>& target, uint32_t attachment = 0x8CE0,
                    MaterialInstance* shader = nullptr)
    {
        device->SetTarget(nullptr, nullptr);
        auto background = MaterialInstance::Create("bg", "background");
        background->SetDepthTest(false);
        ASSERT_NE(shader ? device->ActiveShader(shader) : device->ActiveMaterial(background), nullptr);
        device->ActiveTexture(0, target, attachment);
        device->DrawScreenQuad();
        Read();
    }
};

class MsaaTest : public MsaaFixture, public ::testing::WithParamInterface<Case> {};

TEST_P(MsaaTest, EdgesAreSmoothOnlyWhenMultisampled)
{
    const Case& c = GetParam();
    ASSERT_NO_FATAL_FAILURE(Open(c.contextSamples, c.deviceSamples));
    const unsigned int samples = context->GetSamples(), width = 48, height = 40;
    EXPECT_TRUE(c.contextSamples > 1 ? samples > 1 && samples <= c.contextSamples : samples == 1) << samples;
    context->Resize(width, height);
    device->Resize(width, height);
    EXPECT_EQ(context->GetSamples(), samples);
    std::shared_ptr<RenderTarget> target;
    if (c.targetSamples >= 0) {
        target = std::make_shared<RenderTarget>(width, height, unsigned(c.targetSamples));
        device->SetTarget(target, nullptr);
    }
    ClearTo(glm::vec4(1.0f));
    DrawShape(c.shape);
    if (c.sampleTarget)
        ShowTarget(target);
    else
        Read();
    ASSERT_EQ(std::make_pair(image->GetWidth(), image->GetHeight()), std::make_pair(width, height));

    // Pixels wholly inside are black, wholly outside white; those the
    // silhouette crosses are grey only with multisampling.
    int edge = 0, greyEdge = 0, grey = 0;
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            int corners = 0;
            for (int corner = 0; corner < 4; ++corner)
                corners += Inside(c.shape, glm::vec2(x + (corner & 1), y + (corner >> 1))) ? 1 : 0;
            const int r = At(x, y).r;
            const bool isGrey = r > 20 && r < 235;
            grey += isGrey ? 1 : 0;
            if (corners == 4)
                EXPECT_LE(r, 20) << x << "," << y;
            else if (corners == 0)
                EXPECT_GE(r, 235) << x << "," << y;
            else {
                ++edge;
                greyEdge += isGrey ? 1 : 0;
            }
        }
    }
    ASSERT_GT(edge, 40);
    if (c.smooth)
        EXPECT_GE(greyEdge * 3, edge) << greyEdge << " of " << edge;
    else
        EXPECT_EQ(grey, 0);
    // Sample counts beyond the driver's are cut to its maximum, with one warning.
    const bool beyond = c.contextSamples > 64 || c.targetSamples > 64;
    EXPECT_EQ(log.warnings.size(), beyond ? 1u : 0u);
    for (const std::string& text : log.warnings)
        EXPECT_NE(text.find("above the driver's maximum"), std::string::npos) << text;
}

INSTANTIATE_TEST_SUITE_P(Msaa, MsaaTest, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case>& info) { return std::string(info.param.name); });

// A multisampled target resolves whenever it was drawn into since its
// textures were last brought up to date, for colour and depth alike.
TEST_F(MsaaFixture, TargetTexturesFollowEveryDraw)
{
    ASSERT_NO_FATAL_FAILURE(Open(1, 4));
    auto target = std::make_shared<RenderTarget>(kSize, kSize);
    const glm::vec2 centre = (kTriangle[0] + kTriangle[1] + kTriangle[2]) / 3.0f;
    const auto centreRed = [&] { return At(unsigned(centre.x), unsigned(centre.y)).r; };
    for (int round = 0; round < 2; ++round) {
        device->SetTarget(target, nullptr);
        ClearTo(glm::vec4(1.0f));
        ShowTarget(target);
        EXPECT_EQ(centreRed(), 255) << "round " << round;
        device->SetTarget(target, nullptr);
        DrawShape(TRIANGLE);
        ShowTarget(target);
        EXPECT_EQ(centreRed(), 0) << "round " << round;
    }
    // Read back straight from the target after one more clear.
    device->SetTarget(target, nullptr);
    device->SetClearColor(glm::vec4(0.0f, 1.0f, 0.0f, 1.0f));
    device->ClearBuffers(CLEAR_COLOR);
    Read();
    EXPECT_TRUE(Near(At(0, 0), Rgba{0, 255, 0, 255}, 0)) << At(0, 0);

    // Depth: the triangle at window depth 0.25 over the cleared 1.
    auto depthView = RawShader::Create("depth view",
                                       "#include \"vertex_common.glsl\"\n"
                                       "void main() { PassVaryings(vec4(position, 1.0));"
                                       " gl_Position = vec4(position.xy, 0.0, 1.0); }\n",
                                       "#include \"fragment_common.glsl\"\n"
                                       "uniform sampler2D depthMap;\n"
                                       "void main() { fragColor = vec4(vec3(texture(depthMap, vIn.uv).r), 1.0); }\n");
    device->SetTarget(target, nullptr);
    ClearTo(glm::vec4(1.0f));
    DrawShape(TRIANGLE, -0.5f);
    ShowTarget(target, 0x8D00, depthView.get());
    EXPECT_NEAR(centreRed(), 64, 2);
    EXPECT_EQ(At(60, 60).r, 255);
}

} // namespace
