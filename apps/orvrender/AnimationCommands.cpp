#include <orvrender/AnimationCommands.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

#include <orvkernel/texture/ImageTexture2D.h>
#include <orvrender/GifWriter.h>
#include <orvcore/scene/SceneManager.h>
#include <orvrender/RenderSession.h>
#include <orvrender/RobotCommands.h>
#include <orvrender/SceneAnimation.h>

namespace orvrender {

void SeekScene(RenderSession& session, AnimationPlayer& player, double seconds)
{
    player.SeekTo(seconds);
    if (SeekMotions(session.GetInfo(), seconds))
        session.GetManager()->UpdateWorld();
}

double SceneLength(const RenderSession& session)
{
    const SceneInfo& info = session.GetInfo();
    double length = info.animations ? info.animations->length : 0.0;
    for (const RobotInfo& robot : info.robots) {
        if (robot.motion)
            length = std::max(length, MotionLength(*robot.motion));
    }
    return length;
}

bool FramePath(const std::string& pattern, int index, std::string& path)
{
    path.clear();
    int conversions = 0;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            path += pattern[i];
            continue;
        }
        if (i + 1 < pattern.size() && pattern[i + 1] == '%') {
            path += '%';
            ++i;
            continue;
        }
        // %d, %Nd or %0Nd with a width of one or two digits.
        std::size_t j = i + 1;
        const bool zeros = j < pattern.size() && pattern[j] == '0';
        if (zeros)
            ++j;
        int width = 0;
        std::size_t digits = 0;
        while (j < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[j])) && digits < 2) {
            width = width * 10 + (pattern[j] - '0');
            ++j;
            ++digits;
        }
        if (j >= pattern.size() || pattern[j] != 'd' || ++conversions > 1)
            return false;
        std::string number = std::to_string(index);
        if (static_cast<int>(number.size()) < width)
            number.insert(0, static_cast<std::size_t>(width) - number.size(), zeros ? '0' : ' ');
        path += number;
        i = j;
    }
    return conversions == 1;
}

int WriteFrames(RenderSession& session, AnimationPlayer& player, const FrameOptions& options, std::string& error,
                std::string& summary)
{
    std::string probe;
    if (!options.pattern.empty() && !FramePath(options.pattern, 0, probe)) {
        error = "-o needs one frame number in the name for an image sequence, like out_%04d.png, not '" +
                options.pattern + "'";
        return 2;
    }
    if (options.pattern.empty() && options.gif.empty()) {
        error = "--frames writes an image sequence (-o out_%04d.png) or a GIF (--gif out.gif)";
        return 2;
    }
    if (!(options.fps > 0.0) || !std::isfinite(options.fps) || !std::isfinite(options.start)) {
        error = "--fps must be positive and --time finite";
        return 2;
    }
    int frames = options.frames;
    if (frames <= 0)
        frames = static_cast<int>(std::clamp(std::ceil(SceneLength(session) * options.fps), 1.0, 100000.0));
    GifWriter gif;
    const unsigned int delay =
        static_cast<unsigned int>(std::clamp(std::lround(100.0 / options.fps), long(1), long(65535)));
    bool gifOpen = false;
    for (int i = 0; i < frames; ++i) {
        SeekScene(session, player, options.start + i / options.fps);
        session.Render();
        if (!options.pattern.empty()) {
            std::string path;
            FramePath(options.pattern, i, path);
            if (!session.SavePng(path)) {
                error = "cannot write " + path;
                return 1;
            }
        }
        if (!options.gif.empty()) {
            auto image = session.ReadPixels();
            if (!image || image->IsEmpty()) {
                error = "cannot read the frame back";
                return 1;
            }
            if (!gifOpen && !gif.Open(options.gif, image->GetWidth(), image->GetHeight(), error))
                return 1;
            gifOpen = true;
            if (!gif.AddFrame(image->GetPixels().data(), delay, error))
                return 1;
        }
    }
    if (gifOpen && !gif.Close(error))
        return 1;
    char text[160];
    std::snprintf(text, sizeof(text), "%d frames at %g fps from %g s", frames, options.fps, options.start);
    summary = text;
    if (!options.pattern.empty())
        summary += " -> " + options.pattern;
    if (!options.gif.empty())
        summary += " -> " + options.gif;
    return 0;
}

} // namespace orvrender
