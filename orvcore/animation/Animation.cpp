#include <orvcore/animation/Animation.h>

namespace orvcore {

Animation::~Animation() = default;

bool Animation::Play(float /*time*/) { return false; }

void Animation::Reset()
{
    m_Duration = -1.0f;
    m_Enabled = true;
}

} // namespace orvcore
