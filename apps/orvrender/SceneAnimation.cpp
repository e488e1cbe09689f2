#include <orvrender/SceneAnimation.h>

#include <cmath>

#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/SceneNode.h>

namespace orvrender {

namespace {
constexpr double kMaxSteps = 1.0e6;
} // namespace

AnimationPlayer::AnimationPlayer(std::shared_ptr<SceneAnimations> animations, orvcore::SceneManager& manager,
                                 double stepsPerSecond)
    : m_Animations(std::move(animations)), m_Manager(manager), m_Step(1.0 / stepsPerSecond)
{
}

void AnimationPlayer::SeekTo(double seconds)
{
    if (!m_Animations || !std::isfinite(seconds))
        return;
    if (m_Animations->mixer)
        m_Animations->mixer->SetTime(static_cast<float>(seconds));
    if (const auto& rigid = m_Animations->rigid) {
        if (m_RigidTime < 0.0 || seconds < m_RigidTime)
            RestartRigid();
        // Steps of at most m_Step, the last one landing on the time. Past
        // their end (and the step that ends the run) clips change nothing.
        double target = seconds;
        if (!rigid->GetLoop())
            target = std::fmin(target, m_Animations->rigidLength + 2.0 * m_Step);
        target = std::fmin(target, m_RigidTime + kMaxSteps * m_Step);
        while (m_RigidTime < target) {
            m_RigidTime = std::fmin(m_RigidTime + m_Step, target);
            rigid->PlayAt(m_RigidTime);
            m_Manager.UpdateWorld();
        }
    }
    m_Manager.UpdateWorld();
}

void AnimationPlayer::RestartRigid()
{
    for (const auto& entry : m_Animations->rigidNodes) {
        entry.first->SetTransform(entry.second);
        entry.first->SetOverrideFaceMaterial(nullptr);
        entry.first->SetOverrideEdgeMaterial(nullptr);
        entry.first->RequstUpdate();
    }
    m_Manager.UpdateWorld();
    // The base reset ends the run, so the next step starts a new one (which
    // re-enables and resets every clip).
    m_Animations->rigid->Animation::Reset();
    m_Animations->rigid->PlayAt(0.0);
    m_Manager.UpdateWorld();
    m_RigidTime = 0.0;
}

} // namespace orvrender
