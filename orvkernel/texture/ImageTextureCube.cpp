#include <orvkernel/texture/ImageTextureCube.h>

#include <orvcommon/Logger.h>
#include <orvkernel/texture/ImageDecoder.h>

namespace orvcore {

namespace {
const std::vector<uint8_t> kNoFace;
}

unsigned int ImageTextureCube::GetWidth() const
{
    Resolve();
    return m_Size;
}

unsigned int ImageTextureCube::GetHeight() const { return GetWidth(); }

bool ImageTextureCube::Decode(const std::array<std::string, 6>& paths) const
{
    std::array<std::vector<uint8_t>, 6> faces;
    unsigned int size = 0;
    for (std::size_t i = 0; i < 6; ++i) {
        unsigned int w = 0, h = 0;
        if (!ImageDecoder::Decode(paths[i], w, h, faces[i]))
            return false;
        if (w != h || (i > 0 && w != size)) {
            Logger::Instance().Waring("Cube faces must be square and of one size: " + paths[i] + "!");
            return false;
        }
        size = w;
    }
    m_Faces = std::move(faces);
    m_Size = size;
    return true;
}

bool ImageTextureCube::Load(const std::array<std::string, 6>& paths)
{
    m_PendingPaths = {};
    m_Size = 0;
    for (auto& face : m_Faces)
        face.clear();
    const bool ok = Decode(paths);
    RaiseVersion();
    return ok;
}

void ImageTextureCube::LoadAsync(const std::array<std::string, 6>& paths)
{
    m_PendingPaths = paths;
    RaiseVersion();
}

void ImageTextureCube::Resolve() const
{
    if (!IsPending())
        return;
    const std::array<std::string, 6> paths = m_PendingPaths;
    m_PendingPaths = {};
    Decode(paths);
}

const std::vector<uint8_t>& ImageTextureCube::GetFace(unsigned int index) const
{
    Resolve();
    return index < 6 ? m_Faces[index] : kNoFace;
}

bool ImageTextureCube::IsEmpty() const { return GetWidth() == 0; }

} // namespace orvcore
