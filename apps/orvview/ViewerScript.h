#pragma once

#include <string>
#include <vector>

namespace orvview {

class Viewer;

/// A list of timed input events for demos and tests, run through the same
/// handlers as real input. One event per line, its time in seconds from
/// the start of the script first; `#` starts a comment:
///
///     0.5  move 640 360              # the cursor to a window point
///     1.0  click 640 360 ctrl        # press and release, modifiers after
///     1.5  drag 500 300 700 420 shift   # left button, ten steps
///     1.6  drag 500 300 700 420 right   # the right button
///     1.7  press 500 300             # a button held down (long drags)...
///     1.8  release 600 300           # ...and let go
///     2.0  scroll 2                  # wheel notches, positive closer
///     2.5  key F                     # a key: a letter, a digit, escape, space
///     3.0  view top                  # a standard view by name
///     3.5  screenshot out.png        # a PNG of the next complete frame
///     4.0  quit
///
/// Lines that cannot be read are reported with their number and skipped.
class ViewerScript {
public:
    struct Event {
        double time = 0.0;
        std::vector<std::string> words; // the command and its arguments
        int line = 0;
    };

    /// False with `error` when the file cannot be read.
    bool Load(const std::string& path, std::string& error);
    bool Parse(const std::string& text, const std::string& name);

    /// Runs every event due at `now` (seconds; the first call starts the
    /// clock). Returns false once a `quit` event has run.
    bool Dispatch(double now, Viewer& viewer);
    /// Seconds until the next event (a large value when none is left).
    double UntilNext(double now) const;
    bool IsDone() const { return m_Next >= m_Events.size(); }
    const std::vector<Event>& GetEvents() const { return m_Events; }

private:
    bool Run(const Event& event, Viewer& viewer);

    std::vector<Event> m_Events;
    std::size_t m_Next = 0;
    double m_Start = -1.0;
    std::string m_Name;
};

} // namespace orvview
