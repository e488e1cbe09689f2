#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include <glm/mat3x3.hpp>
#include <glm/mat4x4.hpp>

#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/gl/GlStateCache.h>
#include <orvkernel/texture/ImageTexture2D.h>
#include <orvkernel/texture/TextureDesc.h>

namespace orvcore {

class GlShaderProgram;
class RawShader;

/// Choices made when a `GlRenderDevice` is created.
struct GlRenderDeviceOptions {
    /// Samples per pixel of the render targets that leave the count to the
    /// device (`RenderTarget::GetSamples` 0): 4 draws them multisampled, 0 or
    /// 1 single-sampled. Counts above the driver's GL_MAX_SAMPLES are cut to
    /// it (with a warning).
    unsigned int TargetSamples = 4;
    /// Large draws into single-sampled framebuffers handed to the driver in
    /// pieces, with a flush after each: a software rasteriser (Mesa's
    /// llvmpipe) starts its raster threads only at a flush, so pieces let
    /// them work while the next piece is set up, on data still in the
    /// caches. -1 (the default): on when the context's renderer is
    /// llvmpipe with raster threads (more than one processor, and
    /// LP_NUM_THREADS not 0); 0 never; 1 always. A piece is about one
    /// element (index or vertex, times instances) per 64 pixels of the
    /// framebuffer, at least 16,384: a flush costs the driver time in
    /// proportion to the framebuffer's tiles.
    int FlushInPieces = -1;
};

/// The render device on the OpenGL 3.3 core context current on the calling
/// thread (an `EglContext`, or a window's context).
///
/// - Programs: one `GlShaderProgram` per material template, built from the
///   GLSL files compiled into the library ("basic", "phong", "points",
///   "dashed", "font", "background", "cube", "depth", "ext/dark_depth",
///   "ext/HorizontalBlur", "ext/VerticalBlur"); line primitives of the
///   templates that draw lines go through a geometry shader that gives them
///   their real width in pixels. A `RawShader` is drawn with a program of
///   its own sources (GLSL 3.30 core unless they start with a version line;
///   `#include "vertex_common.glsl"` and the other library files may be
///   used in them), shared by raw shaders of the same sources.
/// - Uniforms set per draw: "projectionMatrix", "viewMatrix",
///   "modelMatrix", "modelViewMatrix", "normalMatrix" (view space),
///   "viewportSize" (pixels of the current target). Activation sets the
///   material's own ("color", "opacity", "state", "pointSize", "lineWidth",
///   ...) and an identity model; `Draw(geometry, ...)` keeps the model
///   uniforms as they are, so a caller may set its own after activating.
/// - Geometry: a vertex array and buffers per geometry, made on first draw
///   and re-uploaded only for attributes (or the index) whose object or
///   version changed; `GetUploadCount` counts those uploads. An attribute
///   whose writes said which items they touched (`BufferAttribute`'s
///   changed ranges) has only those ranges sent (`glBufferSubData`), so a
///   ring buffer of streamed points costs the points written, not its size;
///   `GetUploadedBytes` counts the vertex and index bytes sent.
/// - Textures (`ImageTexture2D`, `ImageTextureCube`) are uploaded when their version moved;
///   render targets get a framebuffer with an RGBA8 colour texture (a
///   `TextureTarget`'s: as its description says) and a depth/stencil
///   texture on first use; a `TargetTexture` samples its target's colour
///   texture.
/// - Multisampling: a target of more than one sample (its own count, else
///   `GlRenderDeviceOptions::TargetSamples`) draws into multisampled
///   renderbuffers; its textures are brought up to date by a blit (depth
///   with GL_NEAREST) only when one is about to be sampled
///   (`ActiveTexture`) or read back, and only when the target was drawn
///   into since. `ReadPixels` resolves a multisampled framebuffer of any
///   other kind (the `EglContext`'s, a window's) into a single-sampled one
///   that the device keeps. Round points get a smooth edge when the
///   framebuffer they are drawn into is multisampled (alpha to coverage, or
///   an edge alpha for blended materials).
/// - `Gc` frees the GPU objects of geometries, textures and targets whose
///   CPU objects are gone: those seen through a shared pointer are watched
///   weakly; a geometry only ever drawn by raw pointer is freed when it was
///   not drawn since the previous `Gc` (it is uploaded again when drawn
///   again: ids are never reused, so a stale entry cannot be mistaken for a
///   new geometry).
///
/// Bad input (a geometry without positions, an index past the vertex count,
/// a material without a usable program, a texture under a sampler the
/// program lacks) logs one warning per object and problem and skips the
/// draw, leaving no GL error behind. Destroy the device while its context is
/// current.
class GlRenderDevice : public RenderDevice {
public:
    /// Draws into `defaultFramebuffer` (0: the window's own) of the given
    /// size when no target is set.
    GlRenderDevice(unsigned int defaultFramebuffer, unsigned int width, unsigned int height,
                   const GlRenderDeviceOptions& options = GlRenderDeviceOptions());
    ~GlRenderDevice() override;
    GlRenderDevice(const GlRenderDevice&) = delete;
    GlRenderDevice& operator=(const GlRenderDevice&) = delete;

    // --- RenderDevice ---

    unsigned int GetWidth() const override { return m_Width; }
    unsigned int GetHeight() const override { return m_Height; }
    /// New size of the default framebuffer (the caller resizes the buffer).
    void Resize(unsigned int width, unsigned int height) override;

    void SetCamera(const std::shared_ptr<Camera>& camera) override { m_Camera = camera; }
    const std::shared_ptr<Camera>& GetCamera() const override { return m_Camera; }

    /// Binds the target's framebuffer (or the default one) and its viewport;
    /// a non-empty camera becomes the current camera.
    void SetTarget(const std::shared_ptr<RenderTarget>& target, const std::shared_ptr<Camera>& camera) override;
    const std::shared_ptr<RenderTarget>& GetTarget() const override { return m_Target; }
    const std::shared_ptr<RenderTarget>& GetPreviousTarget() const override { return m_PreviousTarget; }
    void AddTarget(const std::string& name, const std::shared_ptr<RenderTarget>& target) override;
    std::shared_ptr<RenderTarget> FindTarget(const std::string& name) const override;

    void SetClearColor(const glm::vec4& color) override;
    void ClearBuffers(uint32_t bits) override;
    void SetDepthTest(bool on) override;
    void SetPolygonOffset(bool on, float factor, float units) override;

    GpuShaderProgram* ActiveMaterial(const std::shared_ptr<MaterialInstance>& material) override;
    GpuShaderProgram* _ActiveMaterial(MaterialInstance* material) override;
    GpuShaderProgram* ActiveShader(MaterialInstance* material) override;
    void ActiveTexture(uint32_t unit, const std::shared_ptr<Texture>& texture) override;
    void ActiveTexture(uint32_t unit, const std::shared_ptr<RenderTarget>& target, uint32_t attachment) override;

    void Draw(PrimitiveShape* primitive, const glm::mat4& transform) override;
    /// One instanced call (glDrawElementsInstanced / glDrawArraysInstanced)
    /// for the whole run, the model-view and normal matrices of each
    /// instance read from a per-frame instance buffer, when the settings
    /// allow it and the program takes them (the library's programs that
    /// read "modelViewMatrix" through `ModelViewMatrix()` and not
    /// "modelMatrix"; thin lines, not the wide-line geometry shader);
    /// otherwise one `Draw` per instance.
    void DrawInstanced(PrimitiveShape* primitive, const glm::mat4* transforms, uint32_t count) override;
    /// `RenderSettings::Instancing`.
    bool SupportsInstancing() const override { return GetSettings().Instancing; }
    void Draw(BufferGeometry* geometry, uint32_t start, uint32_t count) override;
    void DrawPoint(const glm::vec3& position) override;
    void DrawScreenQuad() override;

    /// Builds the template's program now (it is otherwise built on first
    /// use); a template without shaders logs "Shader program is not
    /// available: <name>!".
    void BuildTemplate(const std::shared_ptr<MaterialTemplate>& materialTemplate) override;
    void Gc() override;
    /// Waits until the GL has carried out every command given so far
    /// (timing: a frame is drawn only once this returns).
    void Finish();

    // --- OpenGL specifics ---

    unsigned int GetDefaultFramebuffer() const { return m_DefaultFramebuffer; }
    void SetDefaultFramebuffer(unsigned int framebuffer);
    const GlRenderDeviceOptions& GetOptions() const { return m_Options; }
    /// Samples per pixel of the framebuffer that draws go to now (1 when
    /// single-sampled).
    unsigned int GetCurrentSamples();

    /// The program of a template (built on first call); null when the
    /// template has no shaders or they failed to build.
    GlShaderProgram* GetProgram(const std::string& templateName);

    /// The pixels of the current target (the default framebuffer without
    /// one), RGBA8 with rows from the top; multisampled buffers are resolved
    /// first.
    std::shared_ptr<ImageTexture2D> ReadPixels();
    /// Writes RGBA8 pixels (rows from the top) to a PNG file; false with a
    /// warning on bad arguments or a failed write.
    static bool SavePng(const std::string& path, unsigned int width, unsigned int height, const uint8_t* rgba);

    /// Vertex and index buffer uploads so far (an unchanged scene adds none).
    uint64_t GetUploadCount() const { return m_UploadCount; }
    /// Vertex and index bytes sent so far (partial uploads count their ranges).
    uint64_t GetUploadedBytes() const { return m_UploadedBytes; }
    /// Texture image uploads so far.
    uint64_t GetTextureUploadCount() const { return m_TextureUploadCount; }
    /// GL draw calls issued so far.
    uint64_t GetDrawCount() const { return m_DrawCount; }
    /// Geometries, textures and targets holding GPU objects.
    std::size_t GetGeometryCount() const { return m_Geometries.size(); }
    std::size_t GetTextureCount() const { return m_Textures.size(); }
    std::size_t GetTargetObjectCount() const { return m_TargetObjects.size(); }
    /// The GL state as the device last set it.
    GlStateCache& GetStateCache() { return m_State; }

private:
    struct AttributeBuffer {
        unsigned int buffer = 0;
        std::weak_ptr<BufferAttribute> source;
        uint32_t version = 0;
        std::size_t byteSize = 0;
        std::size_t count = 0;
    };
    struct GeometryEntry {
        std::weak_ptr<BufferGeometry> owner;
        bool hasOwner = false;
        unsigned int vertexArray = 0;
        std::array<AttributeBuffer, ATTRIBUTE_SLOT_COUNT> attributes;
        unsigned int indexBuffer = 0;
        std::weak_ptr<ElementAttribute> indexSource;
        uint32_t indexVersion = 0;
        std::size_t indexByteSize = 0;
        uint32_t maxIndex = 0;
        uint64_t lastUse = 0;
    };
    struct TextureEntry {
        std::weak_ptr<Texture> owner;
        unsigned int texture = 0;
        uint32_t version = 0;
    };
    struct TargetEntry {
        std::weak_ptr<RenderTarget> owner;
        bool hasOwner = false;
        uint64_t lastUse = 0;
        /// The framebuffer drawn into: the textures' own, or the
        /// multisampled renderbuffers' when `samples` > 1.
        unsigned int framebuffer = 0;
        unsigned int colorTexture = 0;
        unsigned int depthTexture = 0;
        /// Multisampled targets: the textures' framebuffer (resolve
        /// destination) and the renderbuffers drawn into.
        unsigned int textureFramebuffer = 0;
        unsigned int colorBuffer = 0;
        unsigned int depthBuffer = 0;
        unsigned int width = 0;
        unsigned int height = 0;
        /// The colour texture's formats, filters and wrap modes (a
        /// `TextureTarget`'s description after the checks, else the default).
        TextureDesc desc;
        unsigned int wantedSamples = 0; ///< the count asked for (after the limit)
        unsigned int samples = 1;       ///< the count drawn with
        /// Drawn into since the textures were last resolved.
        bool colorStale = false;
        bool depthStale = false;
        bool complete = false;
    };

    /// Logs a warning once per object id and text.
    void WarnOnce(uint32_t objectId, const std::string& text);
    GpuShaderProgram* Activate(MaterialInstance* material, bool withState);
    void ApplyMaterialState(const MaterialInstance& material);
    bool BindMaterialTextures(const MaterialInstance& material, GlShaderProgram& program);
    void ApplyMaterialUniforms(const MaterialInstance& material, GlShaderProgram& program);

    /// Draws elements of a geometry with the current program.
    /// A null model keeps the model uniforms as they are (identity from the
    /// activation, or what the caller set on the program since).
    /// With `instances` (byte offset into the instance buffer, count), one
    /// instanced call with the instance attributes bound.
    struct InstanceRun {
        std::size_t offset = 0;
        uint32_t count = 0;
    };
    void DrawGeometry(BufferGeometry& geometry, const std::shared_ptr<BufferGeometry>& owner, uint32_t start,
                      uint32_t count, const glm::mat4* model, const InstanceRun* instances = nullptr);
    /// Whether the current program and material can draw a primitive type
    /// instanced.
    bool CanDrawInstanced(uint32_t primitiveType) const;
    /// Issues one draw call, or several of at most a piece each (see
    /// `GlRenderDeviceOptions::FlushInPieces`), flushing whenever what was
    /// queued since the last flush would pass a piece. `indexType` 0 draws
    /// arrays; `start` is an element (first index or vertex).
    void IssueDraw(uint32_t type, unsigned int indexType, std::size_t start, std::size_t count,
                   const InstanceRun* instances);
    /// Whether the context's renderer gains from draws in pieces (the
    /// default of `GlRenderDeviceOptions::FlushInPieces`).
    static bool PiecesPayOff();
    /// Sets the piece size for a framebuffer of this size and the current
    /// sample count.
    void UpdatePieceSize(unsigned int width, unsigned int height);
    /// Writes a run's instance matrices into the instance buffer; false
    /// (warned) when the buffer cannot be written.
    bool UploadInstances(const glm::mat4* transforms, uint32_t count, std::size_t& offset);
    /// Points the instance attributes of the bound vertex array at a run.
    void BindInstanceAttributes(std::size_t offset, bool enable);
    /// Brings a geometry's buffers up to date; false (warned) when it cannot
    /// be drawn.
    bool SyncGeometry(BufferGeometry& geometry, GeometryEntry& entry);
    bool SyncAttribute(uint32_t slot, const std::shared_ptr<BufferAttribute>& attribute, AttributeBuffer& buffer,
                       uint32_t geometryId);
    void FreeGeometry(GeometryEntry& entry);
    /// Whether the current program can draw; warns once when none is active.
    bool CanDraw();
    /// Sets the per-draw camera uniforms and installs the program variant.
    void PrepareDraw(uint32_t primitiveType, const glm::mat4* model, bool hasLineDistance);
    /// The form of the current program's variant to draw with: the one
    /// specialised for the material features now set (built on first use),
    /// or the general form when there is none.
    uint32_t SpecialisedForm(uint32_t variant);
    /// Model, model-view and normal matrices for a model matrix under the
    /// current camera.
    void SetModelUniforms(GlShaderProgram& program, const glm::mat4& model);
    /// Inverse transpose of a model-view's linear part (the part itself
    /// when singular or not finite).
    static glm::mat3 NormalMatrix(const glm::mat4& modelView);
    GlShaderProgram* GetRawProgram(const RawShader& shader);

    /// The GL texture of a texture (uploaded when new or changed); 0 when it
    /// cannot be used.
    unsigned int SyncTexture(const std::shared_ptr<Texture>& texture, uint32_t unit);
    TargetEntry* SyncTarget(const std::shared_ptr<RenderTarget>& target);
    /// The colour texture description a target is made with (checked,
    /// warned and replaced by RGBA8 where this device cannot make it).
    TextureDesc TargetDesc(const RenderTarget& target);
    /// Makes the GL objects of a target of the entry's size with `samples`
    /// samples (1: drawn into the textures); false when incomplete.
    bool CreateTargetObjects(TargetEntry& entry, unsigned int samples);
    void FreeTarget(TargetEntry& entry);
    /// Blits the drawn samples of a multisampled target into its colour
    /// and/or depth texture when they are stale.
    void ResolveTarget(TargetEntry& entry, bool color, bool depth);
    /// Binds the current framebuffer and viewport; returns the current
    /// target's entry (null for the default framebuffer).
    TargetEntry* BindCurrentFramebuffer();
    /// `BindCurrentFramebuffer` before drawing or clearing `bits`
    /// (EnumClearBits): marks what a multisampled target must resolve.
    void BindForDrawing(uint32_t bits);
    /// The single-sampled buffer that multisampled default framebuffers are
    /// resolved into for reading, of the given size and colour format.
    unsigned int GetReadResolveFramebuffer(unsigned int width, unsigned int height, unsigned int format);
    void CreateHelpers();

    GlStateCache m_State;
    GlRenderDeviceOptions m_Options;
    unsigned int m_MaxSamples = 0;
    unsigned int m_DefaultFramebuffer;
    /// Samples of the default framebuffer (0: not known yet) and of the
    /// framebuffer bound now.
    unsigned int m_DefaultSamples = 0;
    unsigned int m_CurrentSamples = 1;
    /// Elements per piece of a draw into the current framebuffer (0: whole
    /// draws), and those queued since the last flush.
    std::size_t m_PieceElements = 0;
    std::size_t m_QueuedElements = 0;
    bool m_FlushInPieces = false;
    unsigned int m_Width;
    unsigned int m_Height;
    std::shared_ptr<Camera> m_Camera;
    std::shared_ptr<RenderTarget> m_Target;
    std::shared_ptr<RenderTarget> m_PreviousTarget;
    std::map<std::string, std::shared_ptr<RenderTarget>> m_Targets;

    std::map<std::string, std::unique_ptr<GlShaderProgram>> m_Programs;
    /// Programs of raw shaders by their sources.
    std::unordered_map<std::string, std::unique_ptr<GlShaderProgram>> m_RawPrograms;
    std::unordered_map<uint32_t, GeometryEntry> m_Geometries;
    std::unordered_map<uint32_t, TextureEntry> m_Textures;
    std::unordered_map<uint32_t, TargetEntry> m_TargetObjects;
    std::unordered_set<std::string> m_Warnings;
    uint64_t m_GcEpoch = 1;

    // The current material and what its activation set.
    GlShaderProgram* m_Program = nullptr;
    uint32_t m_MaterialId = 0;
    uint32_t m_MaterialVersion = 0;
    const MaterialInstance* m_Material = nullptr; ///< identity only: may be gone by the next draw
    /// What the draws need of the active material, copied at activation.
    uint8_t m_MaterialLineWidth = 1;
    bool m_MaterialLinesInPlane = false;
    bool m_ActivationFailed = false;
    unsigned int m_MaterialCull = 0;

    // Helpers of DrawPoint and DrawScreenQuad, and the textures bound to
    // samplers that a material leaves empty.
    unsigned int m_PointArray = 0;
    unsigned int m_PointBuffer = 0;
    unsigned int m_QuadArray = 0;
    unsigned int m_QuadBuffer = 0;
    unsigned int m_WhiteTexture = 0;
    unsigned int m_BlackCube = 0;

    // Where `ReadPixels` resolves a multisampled default framebuffer.
    unsigned int m_ReadFramebuffer = 0;
    unsigned int m_ReadColorBuffer = 0;
    unsigned int m_ReadWidth = 0;
    unsigned int m_ReadHeight = 0;
    unsigned int m_ReadFormat = 0;

    // Per-instance model-view (mat4) and normal (mat3) matrices of the runs
    // drawn instanced: written at rising offsets, orphaned when full (a
    // buffer a queued draw still reads is never overwritten), grown only.
    static constexpr std::size_t kInstanceFloats = 16 + 9;
    static constexpr std::size_t kInstanceBytes = kInstanceFloats * sizeof(float);
    unsigned int m_InstanceBuffer = 0;
    std::size_t m_InstanceCapacity = 0;
    std::size_t m_InstanceOffset = 0;

    uint64_t m_UploadCount = 0;
    uint64_t m_UploadedBytes = 0;
    // Scratch of partial uploads, kept at its high-water mark.
    std::vector<ItemRange> m_ItemRanges;
    std::vector<ByteRange> m_ByteRanges;
    uint64_t m_TextureUploadCount = 0;
    uint64_t m_DrawCount = 0;
};

} // namespace orvcore
