#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

namespace orvcore {

class BufferGeometry;
class Camera;
class GpuShaderProgram;
class MaterialInstance;
class MaterialTemplate;
class PrimitiveShape;
class RenderTarget;
class Texture;

/// Buffer bits of `ClearBuffers`, as the OpenGL values.
enum EnumClearBits : uint32_t {
    CLEAR_DEPTH = 0x0100,
    CLEAR_STENCIL = 0x0400,
    CLEAR_COLOR = 0x4000,
};

/// Switches of a device that the renderer reads.
struct RenderSettings {
    bool Shadow = false;             ///< light shadow maps
    bool ContactShadow = false;      ///< blurred contact shadow under the model
    float ContactShadowBlur = 1.0f;  ///< blur amount of the contact shadow
    /// Device pixels per logical pixel (2 on a high-density screen): point
    /// sizes and line widths, given in logical pixels, are multiplied by it.
    /// Set before drawing (the renderer sets its own at `Initialize`).
    float DpiScaling = 1.0f;
    /// `DrawInstanced` draws a run in one instanced call where the device
    /// and the material's program can; off, every instance is its own draw
    /// (the same image, for comparison and for drivers that misbehave).
    bool Instancing = true;
    /// Runs of many small opaque parts of one material, each its own
    /// geometry, are merged into one draw by the renderer's lists (kept
    /// between frames, rewritten where parts move); off, each part is drawn
    /// on its own.
    bool Batching = true;
};

/// The GPU device the renderer draws through. Draw calls use the current
/// camera, target and material; activation of a material that is already
/// current costs nothing.
class RenderDevice {
public:
    virtual ~RenderDevice();

    virtual unsigned int GetWidth() const = 0;
    virtual unsigned int GetHeight() const = 0;
    virtual void Resize(unsigned int width, unsigned int height) = 0;

    RenderSettings& GetSettings() { return m_Settings; }
    const RenderSettings& GetSettings() const { return m_Settings; }

    /// The camera whose matrices the following draws use.
    virtual void SetCamera(const std::shared_ptr<Camera>& camera) = 0;
    virtual const std::shared_ptr<Camera>& GetCamera() const = 0;

    /// Draws into a target (empty: the default framebuffer) with a camera;
    /// the target that was current becomes the previous one.
    virtual void SetTarget(const std::shared_ptr<RenderTarget>& target, const std::shared_ptr<Camera>& camera) = 0;
    virtual const std::shared_ptr<RenderTarget>& GetTarget() const = 0;
    virtual const std::shared_ptr<RenderTarget>& GetPreviousTarget() const = 0;
    virtual void AddTarget(const std::string& name, const std::shared_ptr<RenderTarget>& target) = 0;
    /// The target of that name, or empty.
    virtual std::shared_ptr<RenderTarget> FindTarget(const std::string& name) const = 0;

    virtual void SetClearColor(const glm::vec4& color) = 0;
    /// Clears the buffers named by `EnumClearBits`.
    virtual void ClearBuffers(uint32_t bits) = 0;
    virtual void SetDepthTest(bool on) = 0;
    virtual void SetPolygonOffset(bool on, float factor, float units) = 0;

    /// Makes a material current; returns its program, or null when the
    /// material cannot be drawn (no template, a program that failed).
    virtual GpuShaderProgram* ActiveMaterial(const std::shared_ptr<MaterialInstance>& material) = 0;
    virtual GpuShaderProgram* _ActiveMaterial(MaterialInstance* material) = 0;
    /// Makes a material's program current without its other state (passes).
    virtual GpuShaderProgram* ActiveShader(MaterialInstance* material) = 0;
    /// Binds a texture, or a target's attachment (OpenGL attachment value,
    /// 0x8CE0 for colour 0, 0x8D00 for depth), to a texture unit.
    virtual void ActiveTexture(uint32_t unit, const std::shared_ptr<Texture>& texture) = 0;
    virtual void ActiveTexture(uint32_t unit, const std::shared_ptr<RenderTarget>& target, uint32_t attachment) = 0;

    /// Draws a primitive with a model matrix and the current material.
    virtual void Draw(PrimitiveShape* primitive, const glm::mat4& transform) = 0;
    /// Draws a primitive once per model matrix, in the order given, with
    /// the current material: the same pixels as `count` calls of `Draw`.
    /// This base form makes those calls; a device may draw the run at once.
    virtual void DrawInstanced(PrimitiveShape* primitive, const glm::mat4* transforms, uint32_t count);
    /// Whether callers should hand runs to `DrawInstanced` (false here:
    /// such a device gets every item as its own `Draw`, each after its
    /// material's activation).
    virtual bool SupportsInstancing() const { return false; }
    /// Draws `count` elements of a geometry from `start` with the current
    /// program (0 and 0: all of them).
    virtual void Draw(BufferGeometry* geometry, uint32_t start, uint32_t count) = 0;
    /// One point at a world position with the current material.
    virtual void DrawPoint(const glm::vec3& position) = 0;
    /// A quad over the whole target with the current program.
    virtual void DrawScreenQuad() = 0;

    /// Prepares a template's program (called through `MaterialManager::Build`).
    virtual void BuildTemplate(const std::shared_ptr<MaterialTemplate>& materialTemplate) = 0;
    /// Frees the device objects of CPU objects that no longer exist.
    virtual void Gc() = 0;

private:
    RenderSettings m_Settings;
};

} // namespace orvcore
