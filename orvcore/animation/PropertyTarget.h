#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvkernel/animation/Interpolant.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/animation/NumberPropertyMixer.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

/// The node properties that tracks can drive, by the last part of the path.
enum EnumAnimatedProperty : uint8_t {
    PROPERTY_POSITION = 0,   ///< "position": 3 floats, the translation
    PROPERTY_QUATERNION = 1, ///< "quaternion": 4 floats x, y, z, w, the rotation
    PROPERTY_SCALE = 2,      ///< "scale": 3 floats
    PROPERTY_MATRIX = 3,     ///< "matrix": 16 floats, column-major; replaces the other three
    PROPERTY_VISIBLE = 4,    ///< "visible": 1 float, visible from 0.5 up
    PROPERTY_COLOR = 5,      ///< "material.color": 3 floats
    PROPERTY_OPACITY = 6,    ///< "material.opacity": 1 float
};

/// The transform of one animated node kept as its parts, so that tracks of
/// position, rotation and scale each replace their own part. Captured from
/// the node's transform when the first of its properties starts playing
/// (translation, rotation and scale of T * R * S; shear is lost) and written
/// back once per frame after every property of the node has been blended.
struct NodePose {
    std::shared_ptr<SceneNode> node;
    glm::vec3 position{0.0f};
    glm::quat rotation{1.0f, 0.0f, 0.0f, 0.0f};
    glm::vec3 scale{1.0f};
    bool touched = false;        ///< written this frame
    uint32_t users = 0;          ///< playing properties of the node
    uint32_t transformUsers = 0; ///< ... of them position, quaternion or scale
    uint32_t matrixUsers = 0;    ///< ... of them matrix
    glm::mat4 matrix{1.0f};

    /// Splits the node's transform into the parts.
    void Capture();
    /// Sets the node's transform (the matrix when a matrix track plays, else
    /// T * R * S) and requests its update.
    void Write();
};

/// One resolved property of one node that tracks drive: where the blended
/// value goes, and the property mixer whose buffer blends it.
///
/// A property that one normal action alone drives takes that action's value
/// at once (`Set`). Otherwise every playing action adds its value with
/// `Accumulate` (or `AccumulateAdditive`) and `Apply` finishes the blend and
/// writes the property. The blend is the mixer's cumulative-weight scheme:
/// the first value is taken as it is with its weight w1, each further one is
/// lerped in with t = w / (w1 + ... + w), which leaves (w1 v1 + w2 v2 + ...) /
/// W for the sum of the weights W; when W < 1 the rest value makes up the
/// remainder: w1 v1 + w2 v2 + ... + (1 - W) rest. Quaternions blend the same
/// way with each one's sign chosen towards the running blend, then are
/// normalised.
class PropertyTarget {
public:
    PropertyTarget(EnumAnimatedProperty kind, uint32_t pose, const std::shared_ptr<PropertyMixer>& mixer,
                   std::vector<std::shared_ptr<MaterialInstance>> materials);

    /// Splits a track name into a node name ("" for the mixer's root) and a
    /// property: "position", "lid.position", "parts/lid.material.color".
    static bool ParsePath(const std::string& path, std::string& node, EnumAnimatedProperty& kind);
    /// Floats per value of the property.
    static unsigned int ValueSize(EnumAnimatedProperty kind);

    /// An action starts driving the property. With the first one the node's
    /// pose is captured (if no other property of the node plays) and the
    /// rest value is saved.
    void Acquire(NodePose& pose, bool additive);
    /// An action stops driving it; with the last one the property keeps the
    /// value last written.
    void Release(NodePose& pose, bool additive);
    /// Whether one normal action alone drives the property (see `Set`).
    bool IsDirect() const { return m_Direct; }

    /// The sole action's value at time `t` with weight `weight` (0: the
    /// action is silent), blended with the rest value and written.
    void Set(Interpolant& interpolant, float t, float weight, NodePose& pose);
    void Accumulate(Interpolant& interpolant, float t, float weight);
    void AccumulateAdditive(Interpolant& interpolant, float t, float weight);
    /// Finishes this frame's blend, writes the value and clears the weights.
    void Apply(NodePose& pose);

    EnumAnimatedProperty GetKind() const { return m_Kind; }
    uint32_t GetPose() const { return m_Pose; }
    const std::shared_ptr<PropertyMixer>& GetMixer() const { return m_Mixer; }
    /// Whether `Apply` has to finish the property's blend: it plays, and not
    /// through `Set`.
    bool IsBlended() const { return m_Mixer->GetUseCount() > 0 && !m_Direct; }
    /// Slot in the mixer's list of blended properties; kNoSlot when not in it.
    static constexpr uint32_t kNoSlot = 0xffffffffu;
    uint32_t GetSharedSlot() const { return m_SharedSlot; }
    void SetSharedSlot(uint32_t slot) { m_SharedSlot = slot; }

private:
    struct Materials {
        std::vector<std::shared_ptr<MaterialInstance>> list;
        std::vector<uint32_t> restBlending;
    };

    NumberPropertyMixer& Mixer() const { return *static_cast<NumberPropertyMixer*>(m_Mixer.get()); }
    void SaveRest(const NodePose& pose);
    void Write(NodePose& pose, const float* value);

    std::shared_ptr<PropertyMixer> m_Mixer; // always a NumberPropertyMixer
    float* m_Data;
    uint32_t m_Pose;
    uint32_t m_SharedSlot = kNoSlot;
    EnumAnimatedProperty m_Kind;
    bool m_Direct = false;
    uint32_t m_AdditiveUsers = 0;
    unsigned int m_Size;
    std::unique_ptr<Materials> m_Materials;
};

} // namespace orvcore
