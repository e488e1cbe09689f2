#include <orvcore/render/Background.h>

namespace orvcore {

Background::~Background() = default;

} // namespace orvcore
