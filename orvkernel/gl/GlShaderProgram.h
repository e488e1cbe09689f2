#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <orvkernel/device/GpuShaderProgram.h>

namespace orvcore {

class GlStateCache;

/// The program of one material template on an OpenGL context, in up to two
/// linked variants sharing the vertex and fragment shaders: one for points
/// and triangles, one for line primitives (with the geometry shader that
/// widens lines).
///
/// Each variant comes in a general form, which reads the material features
/// (vertex colours, texture map, shadow maps) and the number of lights from
/// their uniforms, and in forms specialised for one combination of them, in
/// which they are constants: code for a feature that is off, and the
/// varyings and vertex attributes only it read, drop out of the shaders,
/// and the light loop is unrolled to its count. The current combination
/// follows the uniforms set (`GetSpecialisation`); a program whose sources
/// test none of them has the general form only.
///
/// `SetUniform` only records the value: each variant uploads the uniforms
/// whose value moved when it is next used for a draw (`Use`), so values set
/// between draws (materials, lights, camera) reach whichever variant draws,
/// and setting a value a variant already has costs no GL call.
class GlShaderProgram : public GpuShaderProgram {
public:
    enum EnumVariant : uint32_t { VARIANT_SURFACE = 0, VARIANT_LINES = 1, VARIANT_COUNT = 2 };
    /// Material features, as bits of a specialisation.
    enum EnumFeature : uint32_t { FEATURE_VERTEX_COLORS = 1, FEATURE_MAP = 2, FEATURE_SHADOWS = 4 };
    /// A form's light count sits above the feature bits: 0 for the light
    /// from the eye (a negative "lightCount"), n + 1 for n lights (0 to 4).
    static constexpr uint32_t kLightShift = 3;
    static constexpr uint32_t kLightForms = 6;
    /// The form for a feature set and a "lightCount" value.
    static constexpr uint32_t Form(uint32_t features, int lightCount)
    {
        return (features & 7u) | (uint32_t(lightCount < 0 ? 0 : std::min(lightCount, 4) + 1) << kLightShift);
    }
    /// The general form: features and light count read from the uniforms.
    static constexpr uint32_t kGeneral = 8 * kLightForms;
    static constexpr uint32_t kForms = kGeneral + 1;

    GlShaderProgram(std::string templateName, GlStateCache& state);
    ~GlShaderProgram() override;
    GlShaderProgram(const GlShaderProgram&) = delete;
    GlShaderProgram& operator=(const GlShaderProgram&) = delete;

    const std::string& GetTemplateName() const { return m_TemplateName; }

    /// Compiles and links a variant from GLSL sources (without the version
    /// line; an empty geometry source means none). Failures log the compiler
    /// or linker output and leave the variant unavailable; returns whether it
    /// linked. A variant is built once: later calls return the first result.
    /// `form` is `kGeneral` or one made by `Form`, whose features and light
    /// count the fragment shader then sees as constants. The general form of a
    /// variant is built before its specialised ones; building it finds
    /// which features the sources test.
    bool Build(EnumVariant variant, const std::string& vertex, const std::string& geometry,
               const std::string& fragment, uint32_t form = kGeneral);
    /// Whether building a variant was attempted, and whether it succeeded.
    bool IsBuilt(EnumVariant variant, uint32_t form = kGeneral) const { return At(variant, form).attempted; }
    bool IsAvailable(EnumVariant variant, uint32_t form = kGeneral) const { return At(variant, form).program != 0; }
    /// The GL name of a variant's program (0 when unavailable).
    unsigned int GetProgramName(EnumVariant variant, uint32_t form = kGeneral) const
    {
        return At(variant, form).program;
    }
    /// The form that fits the feature and light uniforms set last, as far
    /// as the sources test them, or `kGeneral` when they test none.
    uint32_t GetSpecialisation() const
    {
        if (m_Tested == 0 && !m_TestsLights)
            return kGeneral;
        return Form(m_Features & m_Tested, m_TestsLights ? m_LightCount : -1);
    }

    void SetUniform(const std::string& name, const UniformValue& value) override;
    bool HasUniform(const std::string& name) const override;

    /// The uniforms the device sets for every draw, looked up once when a
    /// variant links rather than by name on each draw.
    enum EnumDrawUniform : uint32_t {
        UNIFORM_PROJECTION_MATRIX,
        UNIFORM_VIEW_MATRIX,
        UNIFORM_MODEL_MATRIX,
        UNIFORM_MODEL_VIEW_MATRIX,
        UNIFORM_NORMAL_MATRIX,
        UNIFORM_VIEWPORT_SIZE,
        UNIFORM_USE_DASH,
        DRAW_UNIFORM_COUNT
    };
    /// The same as `SetUniform` with the uniform's name.
    void SetUniform(EnumDrawUniform uniform, const UniformValue& value);

    /// Installs a variant's program (through the state cache) and uploads
    /// the uniforms whose recorded value differs from what it holds.
    void Use(EnumVariant variant, uint32_t form = kGeneral);

    /// The texture unit a sampler uniform reads and its GL sampler type;
    /// false when the program declares no sampler of that name.
    bool FindSampler(const std::string& name, uint32_t& unit, unsigned int& samplerType) const;
    /// Every sampler uniform: name -> GL sampler type.
    const std::unordered_map<std::string, unsigned int>& GetSamplers() const { return m_Samplers; }

    /// Number of glUniform calls made so far (for tests of the cache).
    uint64_t GetUniformUploadCount() const { return m_UniformUploads; }

private:
    struct Slot {
        int location = -1;
        unsigned int type = 0;   ///< GL type of the uniform
        UniformValue value;      ///< the value the program holds
        bool set = false;        ///< whether `value` was uploaded
        bool dirty = false;      ///< queued in `dirty`
        UniformValue pending;    ///< the value to upload
    };
    struct Variant {
        unsigned int program = 0;
        bool attempted = false;
        std::vector<Slot> slots;
        std::unordered_map<std::string, std::size_t> byName;
        std::vector<std::size_t> dirty;
        /// Slot of each draw uniform, -1 when the variant does not declare it.
        std::array<int, DRAW_UNIFORM_COUNT> drawSlots{};
    };

    /// Records a value for one variant; false when its type does not fit.
    bool Record(Variant& variant, const std::string& name, const UniformValue& value);
    bool RecordSlot(Variant& variant, std::size_t index, const UniformValue& value);
    void WarnTypeMismatch(const std::string& name);
    void Upload(const Slot& slot);
    void ReadUniforms(Variant& variant);
    Variant& At(EnumVariant variant, uint32_t form) { return m_Variants[variant * kForms + std::min(form, kGeneral)]; }
    const Variant& At(EnumVariant variant, uint32_t form) const
    {
        return m_Variants[variant * kForms + std::min(form, kGeneral)];
    }
    /// Follows the feature uniforms into `m_Features`.
    void TrackFeature(const std::string& name, const UniformValue& value);

    std::string m_TemplateName;
    GlStateCache& m_State;
    std::array<Variant, VARIANT_COUNT * kForms> m_Variants;
    uint32_t m_Features = 0; ///< the features the uniforms turn on
    uint32_t m_Tested = 0;   ///< the features the sources test
    int m_LightCount = -1;   ///< "lightCount" set last
    bool m_TestsLights = false;
    /// The variants built, in the order they were.
    std::vector<Variant*> m_Built;
    /// Every value set, so that a variant built later starts with them:
    /// the draw uniforms' apart, by number.
    std::unordered_map<std::string, UniformValue> m_Values;
    std::array<UniformValue, DRAW_UNIFORM_COUNT> m_DrawValues;
    uint32_t m_DrawValuesSet = 0; ///< bit i: m_DrawValues[i] holds a value
    /// Sampler name -> GL sampler type, and the unit given to it at link.
    std::unordered_map<std::string, unsigned int> m_Samplers;
    std::unordered_map<std::string, uint32_t> m_SamplerUnits;
    /// Names already reported with a type mismatch (one warning each).
    std::unordered_set<std::string> m_TypeWarnings;
    uint64_t m_UniformUploads = 0;
};

} // namespace orvcore
