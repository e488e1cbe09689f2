#include <orvrender/GifWriter.h>

#include <fcntl.h>
#include <unistd.h>

#include <gif_lib.h>

namespace orvrender {

namespace {

std::string GifError(int code)
{
    const char* text = GifErrorString(code);
    return text ? text : "unknown GIF error " + std::to_string(code);
}

} // namespace

GifWriter::~GifWriter()
{
    if (m_File) {
        int code = 0;
        EGifCloseFile(m_File, &code);
    }
}

bool GifWriter::Open(const std::string& path, unsigned int width, unsigned int height, std::string& error)
{
    if (m_File || width == 0 || height == 0 || width > 65535 || height > 65535) {
        error = "cannot write a GIF of " + std::to_string(width) + "x" + std::to_string(height) + " pixels";
        return false;
    }
    // Opened here rather than by giflib, which would make the file private
    // to its owner; the umask decides, as for the PNG files.
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (fd < 0) {
        error = "cannot write " + path;
        return false;
    }
    int code = 0;
    m_File = EGifOpenFileHandle(fd, &code); // owns the descriptor from here on
    if (!m_File) {
        ::close(fd);
        error = "cannot write " + path + ": " + GifError(code);
        return false;
    }
    m_Width = width;
    m_Height = height;
    EGifSetGifVersion(m_File, true); // GIF89a: delays and the loop
    // No global palette: every frame brings its own.
    if (EGifPutScreenDesc(m_File, static_cast<int>(width), static_cast<int>(height), 8, 0, nullptr) == GIF_ERROR) {
        error = "cannot write " + path + ": " + GifError(m_File->Error);
        return false;
    }
    // The application extension that makes viewers loop forever.
    unsigned char loop[3] = {1, 0, 0};
    if (EGifPutExtensionLeader(m_File, APPLICATION_EXT_FUNC_CODE) == GIF_ERROR ||
        EGifPutExtensionBlock(m_File, 11, "NETSCAPE2.0") == GIF_ERROR ||
        EGifPutExtensionBlock(m_File, 3, loop) == GIF_ERROR || EGifPutExtensionTrailer(m_File) == GIF_ERROR) {
        error = "cannot write " + path + ": " + GifError(m_File->Error);
        return false;
    }
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    m_Red.resize(pixels);
    m_Green.resize(pixels);
    m_Blue.resize(pixels);
    m_Indices.resize(pixels);
    return true;
}

bool GifWriter::AddFrame(const uint8_t* rgba, unsigned int delayCentiseconds, std::string& error)
{
    if (!m_File || !rgba) {
        error = "no GIF is open";
        return false;
    }
    for (std::size_t i = 0; i < m_Indices.size(); ++i) {
        m_Red[i] = rgba[4 * i];
        m_Green[i] = rgba[4 * i + 1];
        m_Blue[i] = rgba[4 * i + 2];
    }
    int colors = 256;
    GifColorType palette[256];
    if (GifQuantizeBuffer(m_Width, m_Height, &colors, m_Red.data(), m_Green.data(), m_Blue.data(), m_Indices.data(),
                          palette) == GIF_ERROR) {
        error = "cannot reduce a frame to 256 colours";
        return false;
    }
    ColorMapObject* map = GifMakeMapObject(256, palette);
    if (!map) {
        error = "out of memory for a GIF palette";
        return false;
    }
    GraphicsControlBlock control{};
    control.DisposalMode = DISPOSE_DO_NOT;
    control.UserInputFlag = false;
    control.DelayTime = static_cast<int>(delayCentiseconds);
    control.TransparentColor = NO_TRANSPARENT_COLOR;
    GifByteType extension[4];
    const std::size_t length = EGifGCBToExtension(&control, extension);
    bool ok = EGifPutExtension(m_File, GRAPHICS_EXT_FUNC_CODE, static_cast<int>(length), extension) != GIF_ERROR &&
              EGifPutImageDesc(m_File, 0, 0, static_cast<int>(m_Width), static_cast<int>(m_Height), false, map) !=
                  GIF_ERROR;
    for (unsigned int row = 0; ok && row < m_Height; ++row)
        ok = EGifPutLine(m_File, m_Indices.data() + static_cast<std::size_t>(row) * m_Width,
                         static_cast<int>(m_Width)) != GIF_ERROR;
    GifFreeMapObject(map);
    if (!ok)
        error = "cannot write a GIF frame: " + GifError(m_File->Error);
    return ok;
}

bool GifWriter::Close(std::string& error)
{
    if (!m_File)
        return true;
    int code = 0;
    const bool ok = EGifCloseFile(m_File, &code) != GIF_ERROR;
    m_File = nullptr;
    if (!ok)
        error = "cannot finish the GIF: " + GifError(code);
    return ok;
}

} // namespace orvrender
