#include <orvkernel/device/RenderDevice.h>
#include <orvcore/render/ColorBackground.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "LogCapture.h"

using namespace orvcore;

namespace {

// Records the clear calls; everything else is inert.
class ClearRecordingDevice : public RenderDevice {
public:
    unsigned int GetWidth() const override { return 1; }
    unsigned int GetHeight() const override { return 1; }
    void Resize(unsigned int, unsigned int) override {}
    void SetCamera(const std::shared_ptr<Camera>&) override {}
    const std::shared_ptr<Camera>& GetCamera() const override { return m_Camera; }
    void SetTarget(const std::shared_ptr<RenderTarget>&, const std::shared_ptr<Camera>&) override {}
    const std::shared_ptr<RenderTarget>& GetTarget() const override { return m_Target; }
    const std::shared_ptr<RenderTarget>& GetPreviousTarget() const override { return m_Target; }
    void AddTarget(const std::string&, const std::shared_ptr<RenderTarget>&) override {}
    std::shared_ptr<RenderTarget> FindTarget(const std::string&) const override { return {}; }
    void SetClearColor(const glm::vec4& color) override
    {
        calls.push_back("color");
        clearColor = color;
    }
    void ClearBuffers(uint32_t bits) override
    {
        calls.push_back("clear");
        clearBits = bits;
    }
    void SetDepthTest(bool) override {}
    void SetPolygonOffset(bool, float, float) override {}
    GpuShaderProgram* ActiveMaterial(const std::shared_ptr<MaterialInstance>&) override { return nullptr; }
    GpuShaderProgram* _ActiveMaterial(MaterialInstance*) override { return nullptr; }
    GpuShaderProgram* ActiveShader(MaterialInstance*) override { return nullptr; }
    void ActiveTexture(uint32_t, const std::shared_ptr<Texture>&) override {}
    void ActiveTexture(uint32_t, const std::shared_ptr<RenderTarget>&, uint32_t) override {}
    void Draw(PrimitiveShape*, const glm::mat4&) override { calls.push_back("draw"); }
    void Draw(BufferGeometry*, uint32_t, uint32_t) override { calls.push_back("draw"); }
    void DrawPoint(const glm::vec3&) override { calls.push_back("draw"); }
    void DrawScreenQuad() override { calls.push_back("draw"); }
    void BuildTemplate(const std::shared_ptr<MaterialTemplate>&) override {}
    void Gc() override {}

    std::vector<std::string> calls;
    glm::vec4 clearColor{-1.0f};
    uint32_t clearBits = 0;

private:
    std::shared_ptr<Camera> m_Camera;
    std::shared_ptr<RenderTarget> m_Target;
};

class OtherBackground : public Background {
public:
    void Render(Renderer*, const std::shared_ptr<Camera>&) override {}
};

} // namespace

TEST(ColorBackground, ColourDefaultsAndCopies)
{
    ColorBackground background;
    const glm::vec4 sky(0.0705882f, 0.7176471f, 0.9529412f, 1.0f);
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(background.GetColor()[i], sky[i], 1e-6f) << i;
    EXPECT_EQ(ColorBackground(glm::vec4(1, 0, 0, 0.5f)).GetColor(), glm::vec4(1, 0, 0, 0.5f));

    background.SetColor(glm::vec4(0.1f, 0.2f, 0.3f, 0.4f));
    ColorBackground copy(background);
    copy.SetColor(glm::vec4(0.0f));
    EXPECT_EQ(background.GetColor(), glm::vec4(0.1f, 0.2f, 0.3f, 0.4f));
}

TEST(ColorBackground, ClearsEveryBufferWithItsColour)
{
    ClearRecordingDevice device;
    ColorBackground(glm::vec4(0.25f, 0.5f, 0.75f, 0.0f)).ClearView(&device);
    EXPECT_EQ(device.calls, (std::vector<std::string>{"color", "clear"}));
    EXPECT_EQ(device.clearColor, glm::vec4(0.25f, 0.5f, 0.75f, 0.0f));
    EXPECT_EQ(device.clearBits, 0x4500u);

    orvtest::LogCapture log;
    ColorBackground().ClearView(nullptr);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"RenderDevice is null!"});
}

TEST(ColorBackground, CastIsChecked)
{
    std::unique_ptr<Background> color = std::make_unique<ColorBackground>(glm::vec4(1.0f));
    std::unique_ptr<Background> other = std::make_unique<OtherBackground>();
    ASSERT_NE(ColorBackground::Cast(color.get()), nullptr);
    EXPECT_EQ(ColorBackground::Cast(color.get())->GetColor(), glm::vec4(1.0f));
    EXPECT_EQ(ColorBackground::Cast(other.get()), nullptr);
    EXPECT_EQ(ColorBackground::Cast(static_cast<const Background*>(color.get())), color.get());
    EXPECT_EQ(ColorBackground::Cast(static_cast<const Background*>(nullptr)), nullptr);
}
