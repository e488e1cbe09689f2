// orvview: the interactive viewer of scene and model files.
//
//   orvview [file] [--size 1280x720] [--samples N] [--script events.txt]
//           [--log-anchors] [--no-panels] [--no-vsync]
//
// Without a file it opens the demo scene. Events are written to stdout, one
// line each (docs/viewer.md).
#include <cstdio>
#include <filesystem>
#include <string>

#include <CLI/CLI.hpp>

#include <orvview/ViewerApp.h>

int main(int argc, char** argv)
{
    orvview::ViewerOptions options;
    CLI::App app{"orvview: the interactive viewer of orvcore scene files and models"};
    std::string file;
    std::string size = "1280x720";
    app.add_option("file", file, "scene file (.json) or model file (STL, OBJ, PLY, glTF, 3MF); the demo without");
    app.add_option("--size", size, "window size WIDTHxHEIGHT")->capture_default_str();
    app.add_option("--samples", options.samples, "samples per pixel of the window (1: none)")->check(CLI::Range(1, 16));
    app.add_option("--script", options.script, "timed input events to run (see docs/viewer.md)");
    app.add_flag("--log-anchors", options.logAnchors, "log window points of named nodes, widget arrows and cube faces");
    bool noPanels = false, noVsync = false;
    app.add_flag("--no-panels", noPanels, "start with the panels hidden (Tab toggles them)");
    app.add_flag("--no-vsync", noVsync, "do not wait for the display between frames");
    CLI11_PARSE(app, argc, argv);
    options.panels = !noPanels;
    options.vsync = !noVsync;
    unsigned int w = 0, h = 0;
    char x = 0;
    if (std::sscanf(size.c_str(), "%u%c%u", &w, &x, &h) != 3 || x != 'x' || w < 64 || h < 64 || w > 16384 || h > 16384) {
        std::fprintf(stderr, "orvview: --size expects WIDTHxHEIGHT (64 to 16384 each), got \"%s\"\n", size.c_str());
        return 1;
    }
    options.width = w;
    options.height = h;
    if (!file.empty())
        options.files.push_back(file);
    else if (std::filesystem::exists(ORVVIEW_DEMO))
        options.files.push_back(ORVVIEW_DEMO);
    orvview::ViewerApp viewer;
    return viewer.Run(options);
}
