// orvrender: draws a scene file (or the built-in demo) headless to a PNG,
// and answers picks, selections and rectangle picks on it.
//
//   orvrender [scene.json] [-o out.png] [--size 1280x720]
//             [--pick X,Y]... [--select] [--hover X,Y] [--rect X1,Y1,X2,Y2]
//             [--time T] [--frames N] [--fps F] [--gif out.gif]
//             [--joints Q1,Q2,...] [--collisions]
//
// Exit codes: 0 done, 1 no OpenGL context or the image could not be written,
// 2 bad command line or bad scene file.
#include <cstdio>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <orvcommon/Logger.h>
#include <orvcore/scene/SceneManager.h>
#include <orvrender/AnimationCommands.h>
#include <orvrender/RenderSession.h>
#include <orvrender/SceneAnimation.h>
#include <orvrender/RobotCommands.h>

namespace {

bool ParseInts(const std::string& text, std::size_t count, std::vector<int>& out)
{
    out.clear();
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = text.find_first_of(",x", start);
        const std::string part = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
        try {
            std::size_t used = 0;
            const int value = std::stoi(part, &used);
            if (used != part.size())
                return false;
            out.push_back(value);
        } catch (...) {
            return false;
        }
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return out.size() == count;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app{"Draws a scene file headless to a PNG and picks in it."};
    std::string sceneFile, output = "orvrender.png", size = "1280x720", hover, rect, joints;
    std::vector<std::string> picks;
    bool select = false, quiet = false, collisions = false;
    int msaa = 4;
    app.add_option("scene", sceneFile, "scene file (JSON); the built-in demo without one");
    app.add_option("-o,--output", output, "PNG file to write")->capture_default_str();
    app.add_option("--size", size, "image size WIDTHxHEIGHT")->capture_default_str();
    app.add_option("--pick", picks, "window point X,Y to pick (top-left origin); repeatable");
    app.add_flag("--select", select, "draw the first pick as the selection");
    app.add_option("--hover", hover, "window point X,Y to draw as the highlight");
    app.add_option("--rect", rect, "window rectangle X1,Y1,X2,Y2 to pick");
    app.add_option("--joints", joints, "joint values Q1,Q2,... of the first robot (degrees; lengths for prismatic)");
    app.add_flag("--collisions", collisions, "print the colliding robot links and collision pairs as JSON, drawn red");
    app.add_flag("-q,--quiet", quiet, "no warnings on stderr");
    app.add_option("--msaa", msaa, "samples per pixel for anti-aliasing (1: off)")
        ->capture_default_str()
        ->check(CLI::Range(1, 16));
    double time = 0.0, fps = 25.0;
    int frames = 0;
    std::string gif;
    app.add_option("--time", time, "animation time in seconds to draw (with --frames: of the first frame)");
    app.add_option("--frames", frames, "number of frames to write, 1/fps apart (-o with %04d in the name, --gif)")
        ->check(CLI::Range(1, 100000));
    app.add_option("--fps", fps, "frames per second of --frames and --gif")->capture_default_str()->check(
        CLI::Range(0.01, 1000.0));
    app.add_option("--gif", gif, "animated GIF to write (--frames frames, default the whole animation)");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    if (quiet)
        orvcore::Logger::Instance().SetLevel(orvcore::EnumLogLevel::Error);

    std::vector<int> wh;
    if (!ParseInts(size, 2, wh) || wh[0] < 16 || wh[1] < 16 || wh[0] > 8192 || wh[1] > 8192) {
        std::fprintf(stderr, "orvrender: --size must be WIDTHxHEIGHT between 16 and 8192, not '%s'\n", size.c_str());
        return 2;
    }
    orvrender::RenderSession session(static_cast<unsigned int>(wh[0]), static_cast<unsigned int>(wh[1]),
                                     static_cast<unsigned int>(msaa));
    if (!session.IsReady()) {
        std::fprintf(stderr, "orvrender: %s\n", session.GetError().c_str());
        return 1;
    }
    std::string error;
    const bool loaded = sceneFile.empty() ? session.LoadDemo(error) : session.LoadFile(sceneFile, error);
    if (!loaded) {
        std::fprintf(stderr, "orvrender: %s\n", error.c_str());
        return 2;
    }
    session.ApplyFileSelection();
    if (!joints.empty()) {
        std::vector<double> values;
        if (!orvrender::ParseJointValues(joints, values)) {
            std::fprintf(stderr, "orvrender: --joints needs numbers Q1,Q2,..., not '%s'\n", joints.c_str());
            return 2;
        }
        if (!orvrender::ApplyJoints(session.GetInfo(), values, error)) {
            std::fprintf(stderr, "orvrender: --joints: %s\n", error.c_str());
            return 2;
        }
    }
    if (collisions) {
        session.GetManager()->UpdateWorld();
        std::printf("%s\n", orvrender::CollisionReport(session.GetInfo(), true).c_str());
    }

    orvrender::AnimationPlayer player(session.GetInfo().animations, *session.GetManager());
    if (app.count("--frames") > 0 || !gif.empty()) {
        const orvrender::FrameOptions frameOptions{time, frames, fps, app.count("--output") > 0 ? output : "", gif};
        std::string summary;
        const int code = orvrender::WriteFrames(session, player, frameOptions, error, summary);
        if (code != 0) {
            std::fprintf(stderr, "orvrender: %s\n", error.c_str());
            return code;
        }
        std::printf("orvrender: %s\n", summary.c_str());
        return 0;
    }
    if (app.count("--time") > 0)
        orvrender::SeekScene(session, player, time);

    std::vector<int> xy;
    for (std::size_t i = 0; i < picks.size(); ++i) {
        if (!ParseInts(picks[i], 2, xy)) {
            std::fprintf(stderr, "orvrender: --pick needs X,Y, not '%s'\n", picks[i].c_str());
            return 2;
        }
        const orvrender::PickReport report =
            (select && i == 0) ? session.Select(xy[0], xy[1]) : session.Pick(xy[0], xy[1]);
        std::printf("%s\n", report.ToJson().c_str());
    }
    if (!hover.empty()) {
        if (!ParseInts(hover, 2, xy)) {
            std::fprintf(stderr, "orvrender: --hover needs X,Y, not '%s'\n", hover.c_str());
            return 2;
        }
        std::printf("%s\n", session.Hover(xy[0], xy[1]).ToJson().c_str());
    }
    if (!rect.empty()) {
        std::vector<int> r;
        if (!ParseInts(rect, 4, r)) {
            std::fprintf(stderr, "orvrender: --rect needs X1,Y1,X2,Y2, not '%s'\n", rect.c_str());
            return 2;
        }
        std::printf("[");
        const auto reports = session.PickRect(r[0], r[1], r[2], r[3]);
        for (std::size_t i = 0; i < reports.size(); ++i)
            std::printf("%s%s", i ? "," : "", reports[i].ToJson().c_str());
        std::printf("]\n");
    }

    const double ms = session.Render();
    if (!session.SavePng(output)) {
        std::fprintf(stderr, "orvrender: cannot write %s\n", output.c_str());
        return 1;
    }
    const orvrender::SceneInfo& info = session.GetInfo();
    std::printf("orvrender: %s: %zu nodes, %zu triangles, frame %.1f ms -> %s\n",
                sceneFile.empty() ? "demo" : sceneFile.c_str(), info.nodes, info.triangles, ms, output.c_str());
    return 0;
}
