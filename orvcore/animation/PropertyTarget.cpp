#include <orvcore/animation/PropertyTarget.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include <glm/geometric.hpp>
#include <glm/gtc/type_ptr.hpp>

namespace orvcore {

namespace {

struct PropertyName {
    const char* name;
    EnumAnimatedProperty kind;
    unsigned int size;
};

const PropertyName kProperties[] = {
    {"position", PROPERTY_POSITION, 3},       {"quaternion", PROPERTY_QUATERNION, 4},
    {"scale", PROPERTY_SCALE, 3},             {"matrix", PROPERTY_MATRIX, 16},
    {"visible", PROPERTY_VISIBLE, 1},         {"material.color", PROPERTY_COLOR, 3},
    {"material.opacity", PROPERTY_OPACITY, 1},
};

// Quaternions are stored x, y, z, w in tracks and buffers.
glm::quat ReadQuat(const float* v) { return glm::quat(v[3], v[0], v[1], v[2]); }
void WriteQuat(const glm::quat& q, float* v)
{
    v[0] = q.x;
    v[1] = q.y;
    v[2] = q.z;
    v[3] = q.w;
}
float Dot4(const float* a, const float* b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3]; }
void Negate4(float* v)
{
    for (int i = 0; i < 4; ++i)
        v[i] = -v[i];
}

} // namespace

void NodePose::Capture()
{
    const glm::mat4& m = node->GetTransform();
    matrix = m;
    position = glm::vec3(m[3]);
    glm::vec3 c0(m[0]), c1(m[1]), c2(m[2]);
    scale = glm::vec3(glm::length(c0), glm::length(c1), glm::length(c2));
    if (glm::dot(glm::cross(c0, c1), c2) < 0.0f)
        scale.x = -scale.x; // a mirror: one negative factor
    if (scale.x == 0.0f || scale.y == 0.0f || scale.z == 0.0f) {
        rotation = glm::quat(1.0f, 0.0f, 0.0f, 0.0f);
        return;
    }
    rotation = glm::normalize(glm::quat_cast(glm::mat3(c0 / scale.x, c1 / scale.y, c2 / scale.z)));
}

void NodePose::Write()
{
    touched = false;
    if (matrixUsers > 0) {
        node->SetTransform(matrix);
    } else if (transformUsers > 0) {
        const glm::mat3 r = glm::mat3_cast(rotation);
        glm::mat4 m;
        m[0] = glm::vec4(r[0] * scale.x, 0.0f);
        m[1] = glm::vec4(r[1] * scale.y, 0.0f);
        m[2] = glm::vec4(r[2] * scale.z, 0.0f);
        m[3] = glm::vec4(position, 1.0f);
        node->SetTransform(m);
    }
    node->RequstUpdate();
}

PropertyTarget::PropertyTarget(EnumAnimatedProperty kind, uint32_t pose, const std::shared_ptr<PropertyMixer>& mixer,
                               std::vector<std::shared_ptr<MaterialInstance>> materials)
    : m_Mixer(mixer), m_Pose(pose), m_Kind(kind), m_Size(ValueSize(kind))
{
    if (!NumberPropertyMixer::Cast(m_Mixer.get()) || m_Mixer->GetValueSize() != m_Size)
        m_Mixer = std::make_shared<NumberPropertyMixer>(mixer ? mixer->GetBinding() : nullptr, m_Size);
    m_Data = Mixer().GetData();
    if (!materials.empty()) {
        m_Materials = std::make_unique<Materials>();
        m_Materials->restBlending.resize(materials.size(), BLENDING_NONE);
        m_Materials->list = std::move(materials);
    }
}

bool PropertyTarget::ParsePath(const std::string& path, std::string& node, EnumAnimatedProperty& kind)
{
    for (const auto& property : kProperties) {
        const std::size_t length = std::strlen(property.name);
        if (path == property.name) {
            node.clear();
            kind = property.kind;
            return true;
        }
        if (path.size() > length + 1 && path[path.size() - length - 1] == '.' &&
            path.compare(path.size() - length, length, property.name) == 0) {
            node = path.substr(0, path.size() - length - 1);
            kind = property.kind;
            return true;
        }
    }
    return false;
}

unsigned int PropertyTarget::ValueSize(EnumAnimatedProperty kind)
{
    for (const auto& property : kProperties) {
        if (property.kind == kind)
            return property.size;
    }
    return 0;
}

void PropertyTarget::Acquire(NodePose& pose, bool additive)
{
    PropertyMixer& mixer = *m_Mixer;
    const uint32_t uses = mixer.GetUseCount();
    mixer.SetUseCount(uses + 1);
    if (additive)
        ++m_AdditiveUsers;
    m_Direct = uses == 0 && m_AdditiveUsers == 0;
    if (uses > 0)
        return;
    if (pose.users++ == 0)
        pose.Capture();
    if (m_Kind == PROPERTY_MATRIX)
        ++pose.matrixUsers;
    else if (m_Kind <= PROPERTY_SCALE)
        ++pose.transformUsers;
    SaveRest(pose);
}

void PropertyTarget::Release(NodePose& pose, bool additive)
{
    PropertyMixer& mixer = *m_Mixer;
    const uint32_t uses = mixer.GetUseCount() - 1;
    mixer.SetUseCount(uses);
    if (additive)
        --m_AdditiveUsers;
    m_Direct = uses == 1 && m_AdditiveUsers == 0;
    if (uses > 0)
        return;
    --pose.users;
    if (m_Kind == PROPERTY_MATRIX)
        --pose.matrixUsers;
    else if (m_Kind <= PROPERTY_SCALE)
        --pose.transformUsers;
}

void PropertyTarget::SaveRest(const NodePose& pose)
{
    float* rest = m_Data + m_Size * Mixer().GetOrigIndex();
    const auto* materials = m_Materials ? &m_Materials->list : nullptr;
    switch (m_Kind) {
    case PROPERTY_POSITION:
        std::memcpy(rest, &pose.position.x, sizeof(float) * 3);
        break;
    case PROPERTY_QUATERNION:
        WriteQuat(pose.rotation, rest);
        break;
    case PROPERTY_SCALE:
        std::memcpy(rest, &pose.scale.x, sizeof(float) * 3);
        break;
    case PROPERTY_MATRIX:
        std::memcpy(rest, glm::value_ptr(pose.matrix), sizeof(float) * 16);
        break;
    case PROPERTY_VISIBLE:
        rest[0] = pose.node->GetVisible() ? 1.0f : 0.0f;
        break;
    case PROPERTY_COLOR: {
        const glm::vec3 color = materials ? materials->front()->GetColor() : glm::vec3(1.0f);
        std::memcpy(rest, &color.x, sizeof(float) * 3);
        break;
    }
    case PROPERTY_OPACITY:
        rest[0] = materials ? materials->front()->GetOpacity() : 1.0f;
        for (std::size_t i = 0; materials && i < materials->size(); ++i)
            m_Materials->restBlending[i] = (*materials)[i]->BlendingMode;
        break;
    }
}

void PropertyTarget::Set(Interpolant& interpolant, float t, float weight, NodePose& pose)
{
    float value[16];
    if (!(weight > 0.0f) || !interpolant.Evaluate(t, value)) {
        Write(pose, m_Data + m_Size * Mixer().GetOrigIndex()); // silent: the rest value
        return;
    }
    if (weight >= 1.0f) {
        Write(pose, value);
        return;
    }
    // One value with weight w: w v + (1 - w) rest, as Apply would blend it.
    const unsigned int n = m_Size;
    const unsigned int origin = n * Mixer().GetOrigIndex();
    std::memcpy(m_Data + n, value, sizeof(float) * n);
    if (m_Kind == PROPERTY_QUATERNION && Dot4(m_Data + n, m_Data + origin) < 0.0f)
        Negate4(m_Data + origin);
    Mixer().Lerp(n, origin, 1.0f - weight, n);
    Write(pose, m_Data + n);
}

void PropertyTarget::Accumulate(Interpolant& interpolant, float t, float weight)
{
    NumberPropertyMixer& mixer = Mixer();
    const unsigned int n = m_Size;
    float* accu = m_Data + n;
    const float sum = mixer.GetCumulativeWeight();
    if (sum == 0.0f) {
        if (interpolant.Evaluate(t, accu))
            mixer.SetCumulativeWeight(weight);
        return;
    }
    if (!interpolant.Evaluate(t, m_Data))
        return;
    if (m_Kind == PROPERTY_QUATERNION && Dot4(accu, m_Data) < 0.0f)
        Negate4(m_Data); // the same rotation, on the side of the running blend
    const float total = sum + weight;
    mixer.SetCumulativeWeight(total);
    mixer.Lerp(n, 0, weight / total, n);
}

void PropertyTarget::AccumulateAdditive(Interpolant& interpolant, float t, float weight)
{
    NumberPropertyMixer& mixer = Mixer();
    const unsigned int n = m_Size;
    const unsigned int add = n * mixer.GetAddIndex();
    if (!interpolant.Evaluate(t, m_Data))
        return;
    const float sum = mixer.GetCumulativeWeightAdditive();
    if (m_Kind == PROPERTY_QUATERNION) {
        // Rotations compose: the delta scaled by the weight (a normalised
        // lerp from the identity) is applied after those before it.
        if (sum == 0.0f)
            WriteQuat(glm::quat(1.0f, 0.0f, 0.0f, 0.0f), m_Data + add);
        glm::quat delta = ReadQuat(m_Data);
        if (delta.w < 0.0f)
            delta = -delta;
        delta = glm::quat(1.0f, 0.0f, 0.0f, 0.0f) * (1.0f - weight) + delta * weight;
        const float length = glm::length(delta);
        if (length > 1e-12f)
            WriteQuat(ReadQuat(m_Data + add) * (delta / length), m_Data + add);
    } else {
        if (sum == 0.0f)
            mixer.SetAdditiveIdentity();
        mixer.LerpAdditive(add, 0, weight, n);
    }
    mixer.SetCumulativeWeightAdditive(sum + weight);
}

void PropertyTarget::Apply(NodePose& pose)
{
    NumberPropertyMixer& mixer = Mixer();
    const unsigned int n = m_Size;
    const unsigned int origin = n * mixer.GetOrigIndex();
    float* accu = m_Data + n;
    const float sum = mixer.GetCumulativeWeight();
    if (sum == 0.0f) {
        std::memcpy(accu, m_Data + origin, sizeof(float) * n);
    } else if (sum < 1.0f) {
        if (m_Kind == PROPERTY_QUATERNION && Dot4(accu, m_Data + origin) < 0.0f)
            Negate4(m_Data + origin);
        mixer.Lerp(n, origin, 1.0f - sum, n);
    }
    if (mixer.GetCumulativeWeightAdditive() > 0.0f) {
        const unsigned int add = n * mixer.GetAddIndex();
        if (m_Kind == PROPERTY_QUATERNION) {
            const glm::quat base = ReadQuat(accu);
            const float length = glm::length(base);
            if (length > 1e-12f)
                WriteQuat((base / length) * ReadQuat(m_Data + add), accu);
        } else {
            mixer.LerpAdditive(n, add, 1.0f, n);
        }
    }
    mixer.SetCumulativeWeight(0.0f);
    mixer.SetCumulativeWeightAdditive(0.0f);
    Write(pose, accu);
}

void PropertyTarget::Write(NodePose& pose, const float* value)
{
    pose.touched = true;
    switch (m_Kind) {
    case PROPERTY_POSITION:
        pose.position = glm::vec3(value[0], value[1], value[2]);
        break;
    case PROPERTY_QUATERNION: {
        const glm::quat q = ReadQuat(value);
        const float length = glm::length(q);
        if (length > 1e-12f && std::isfinite(length))
            pose.rotation = q / length; // a blend of opposite rotations keeps the last one
        break;
    }
    case PROPERTY_SCALE:
        pose.scale = glm::vec3(value[0], value[1], value[2]);
        break;
    case PROPERTY_MATRIX:
        pose.matrix = glm::make_mat4(value);
        break;
    case PROPERTY_VISIBLE:
        pose.node->SetVisible(value[0] >= 0.5f);
        break;
    case PROPERTY_COLOR:
        for (const auto& material : m_Materials->list)
            material->SetColor(glm::vec3(value[0], value[1], value[2]));
        break;
    case PROPERTY_OPACITY:
        for (std::size_t i = 0; i < m_Materials->list.size(); ++i) {
            MaterialInstance& material = *m_Materials->list[i];
            material.SetOpacity(value[0]);
            // Fading needs blending; at full opacity the material is drawn
            // as it was before.
            const uint32_t mode = material.GetOpacity() < 1.0f ? BLENDING_TRANSPARENT : m_Materials->restBlending[i];
            if (material.BlendingMode != mode) {
                material.BlendingMode = mode;
                material.RequestUpdate();
            }
        }
        break;
    }
}

} // namespace orvcore
