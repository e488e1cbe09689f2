#include <orvkernel/Texture.h>

namespace orvcore {

Texture::~Texture() = default;

} // namespace orvcore
