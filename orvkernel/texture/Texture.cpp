#include <orvkernel/texture/Texture.h>

namespace orvcore {

Texture::~Texture() = default;

} // namespace orvcore
