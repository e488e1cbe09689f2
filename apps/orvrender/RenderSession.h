#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <glm/vec3.hpp>

#include <orvrender/SceneFile.h>

namespace orvcore {
class BasicPipeline;
class PickedItem;
class EglContext;
class GlRenderDevice;
class ImageTexture2D;
class Renderer;
class SceneManager;
class SceneNode;
} // namespace orvcore

namespace orvrender {

/// What a pick found: the node (its name from the scene file, its user id),
/// the sub-shape kind and index, the world position and the squared
/// distance from the eye; `hit` false when nothing is under the point.
struct PickReport {
    bool hit = false;
    std::string name;
    uint64_t userId = 0;
    const orvcore::SceneNode* node = nullptr;
    std::string shapeType; // "vertex", "edge", "face", "shape"
    unsigned int shapeIndex = 0;
    int primitiveIndex = -1;
    glm::vec3 position{0.0f};
    float distance = 0.0f;
    /// A hit on the view cube overlay ("cube"): the element's identifier and
    /// the standard view it turns the camera to ("front", "top-right", ...).
    std::string overlay;
    unsigned int element = 0;
    std::string view;
    std::string ToJson() const;
};

/// One headless view: an OpenGL context (a GPU or llvmpipe), a device, a
/// scene manager with a renderer and the basic pipeline. Loads a scene
/// file, picks, selects, draws frames and writes them as PNG.
class RenderSession {
public:
    /// `samples` is the multisampling of the frame and of the device's
    /// off-screen targets (1: none).
    RenderSession(unsigned int width, unsigned int height, unsigned int samples = 4);
    ~RenderSession();
    RenderSession(const RenderSession&) = delete;
    RenderSession& operator=(const RenderSession&) = delete;

    /// False (with the reason in `GetError`) when no OpenGL context exists.
    bool IsReady() const { return m_Ready; }
    const std::string& GetError() const { return m_Error; }

    bool LoadFile(const std::string& path, std::string& error);
    /// The built-in demo scene.
    bool LoadDemo(std::string& error);

    PickReport Pick(int x, int y);
    std::vector<PickReport> PickRect(int x1, int y1, int x2, int y2);
    /// Makes the pick under a window point the selection or the highlight.
    PickReport Select(int x, int y);
    PickReport Hover(int x, int y);
    /// Selects and highlights the nodes the scene file names.
    void ApplyFileSelection();

    /// Draws one frame; returns its time in milliseconds.
    double Render();
    bool SavePng(const std::string& path);
    /// The last frame's pixels (RGBA8, rows from the top); null when none.
    std::shared_ptr<orvcore::ImageTexture2D> ReadPixels();

    const SceneInfo& GetInfo() const { return m_Info; }
    const std::shared_ptr<orvcore::SceneManager>& GetManager() const { return m_Manager; }

private:
    PickReport Report(const orvcore::PickedItem& item) const;
    /// A pick on the view cube overlay, when it is shown and hit; with
    /// `turn` the camera turns to the element's view, fitted to the scene
    /// (RenderSessionOverlay.cpp).
    bool PickOverlay(int x, int y, bool turn, PickReport& report);
    bool Prepare();

    bool m_Ready = false;
    std::string m_Error;
    unsigned int m_Width;
    unsigned int m_Height;
    std::unique_ptr<orvcore::EglContext> m_Context;
    std::unique_ptr<orvcore::GlRenderDevice> m_Device;
    std::shared_ptr<orvcore::SceneManager> m_Manager;
    std::unique_ptr<orvcore::Renderer> m_Renderer;
    std::unique_ptr<orvcore::BasicPipeline> m_Pipeline;
    SceneInfo m_Info;
    bool m_Prepared = false;
};

} // namespace orvrender
