#pragma once

#include <string>

namespace orvrender {

class AnimationPlayer;
class RenderSession;

/// An image sequence of the scene's animations: `frames` frames at
/// `start + i / fps` seconds, written as PNG files named by `pattern` (a
/// printf-like name with one %d, %4d or %04d for the frame number, empty for
/// none) and as one looping GIF (`gif`, empty for none). `frames` 0 means
/// enough frames for the animations' length.
struct FrameOptions {
    double start = 0.0;
    int frames = 0;
    double fps = 25.0;
    std::string pattern;
    std::string gif;
};

/// The scene at `seconds` into its animations and robot motions.
void SeekScene(RenderSession& session, AnimationPlayer& player, double seconds);
/// Seconds until the last animation or robot motion of the scene has ended.
double SceneLength(const RenderSession& session);

/// The file name of frame `index` for a pattern; false when the pattern has
/// no frame-number conversion or more than one (or any other conversion).
bool FramePath(const std::string& pattern, int index, std::string& path);

/// Draws and writes the frames. Returns 0 when done, 2 for unusable options
/// (the reason in `error`), 1 when a file could not be written; `summary`
/// tells what was written.
int WriteFrames(RenderSession& session, AnimationPlayer& player, const FrameOptions& options, std::string& error,
                std::string& summary);

} // namespace orvrender
