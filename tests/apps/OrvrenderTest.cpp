// End to end: the orvrender program and its session on the example scenes.
#include <orvrender/RenderSession.h>

#include <fstream>

#include <gtest/gtest.h>

#include "GoldenImage.h"
#include "TempFiles.h"

using orvtest::Scratch;
using orvtest::Write;

namespace {

const std::string kRoot = ORVCORE_SOURCE_DIR;

// Runs the program; returns its exit code and what it printed.
int RunProgram(const std::string& arguments, std::string& output)
{
    const std::string log = Scratch() + "orvrender.out";
    // Leaks are checked by the in-process tests; a child process exits with
    // the driver's rendering threads still parked, which the leak checker's
    // thread suspension does not survive reliably.
    const std::string command =
        "ASAN_OPTIONS=detect_leaks=0 " + std::string(ORVRENDER_EXE) + " -q " + arguments + " > " + log + " 2>&1";
    const int status = std::system(command.c_str());
    std::ifstream in(log);
    output.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST(Orvrender, EveryExampleRendersAndMatchesItsGoldenImage)
{
    int examples = 0;
    for (const auto& entry : std::filesystem::directory_iterator(kRoot + "/examples")) {
        if (entry.path().extension() != ".json")
            continue;
        ++examples;
        const std::string name = entry.path().stem().string();
        SCOPED_TRACE(name);
        // The program writes the image...
        const std::string png = Scratch() + name + ".png";
        std::string output;
        ASSERT_EQ(RunProgram(entry.path().string() + " --size 256x256 -o " + png, output), 0) << output;
        EXPECT_NE(output.find("triangles"), std::string::npos) << output;
        orvcore::ImageTexture2D written;
        ASSERT_TRUE(written.Load(png));
        EXPECT_EQ(std::make_pair(written.GetWidth(), written.GetHeight()), std::make_pair(256u, 256u));
        // ...and the session in this process draws what the golden shows.
        orvrender::RenderSession session(256, 256);
        ASSERT_TRUE(session.IsReady()) << session.GetError();
        std::string error;
        ASSERT_TRUE(session.LoadFile(entry.path().string(), error)) << error;
        session.ApplyFileSelection();
        session.Render();
        ASSERT_TRUE(session.SavePng(Scratch() + "orv_example.png"));
        orvcore::ImageTexture2D image;
        ASSERT_TRUE(image.Load(Scratch() + "orv_example.png"));
        orvtest::ExpectMatchesGolden(kRoot + "/tests/golden/examples/" + name + ".png", "example-" + name, image);
    }
    EXPECT_GE(examples, 3);
}

TEST(Orvrender, PickReportsTheNodeUnderThePoint)
{
    const std::string scene = Write("orv_pick.json", R"({
      "camera": {"projection": "orthographic", "eye": [0, 0, 100], "target": [0, 0, 0], "up": [0, 1, 0]},
      "grid": {"visible": false},
      "nodes": [{"type": "box", "name": "target box", "userId": 42, "size": [40, 40, 10], "edges": false}]
    })");
    std::string output;
    ASSERT_EQ(RunProgram(scene + " --size 200x200 --pick 100,100 --pick 5,5 -o " + Scratch() + "pick.png", output),
              0)
        << output;
    EXPECT_NE(output.find("\"node\":\"target box\""), std::string::npos) << output;
    EXPECT_NE(output.find("\"userId\":42"), std::string::npos) << output;
    EXPECT_NE(output.find("\"shapeType\":\"face\""), std::string::npos) << output;
    EXPECT_NE(output.find("\"hit\":false"), std::string::npos) << output; // the corner misses

    // In process, the same pick through the session.
    orvrender::RenderSession session(200, 200);
    ASSERT_TRUE(session.IsReady()) << session.GetError();
    std::string error;
    ASSERT_TRUE(session.LoadFile(scene, error)) << error;
    const orvrender::PickReport hit = session.Pick(100, 100);
    EXPECT_TRUE(hit.hit);
    EXPECT_EQ(hit.name, "target box");
    EXPECT_NEAR(hit.position.z, 5.0f, 1e-3f);
}

TEST(Orvrender, BadInputExitsWithTwoAndNamesThePlace)
{
    const std::pair<std::string, std::string> scenes[] = {
        {"{ \"nodes\": [ ", "orv_bad0.json"},
        {R"({"nodes": [{"type": "box", "size": "big"}]})", "/nodes/0/size"},
        {R"({"nodes": [{"type": "teapot"}]})", "/nodes/0/type"},
        {R"({"nodes": [{"type": "model", "file": "nowhere.stl"}]})", "/nodes/0"},
        {R"({"nodes": [{"type": "box", "size": [1e30, 1, 1]}]})", "/nodes/0/size/0"}};
    const std::string out = " -o " + Scratch() + "bad.png";
    std::string output;
    for (std::size_t i = 0; i < std::size(scenes); ++i) {
        const std::string scene = Write("orv_bad" + std::to_string(i) + ".json", scenes[i].first);
        EXPECT_EQ(RunProgram(scene + out, output), 2) << scenes[i].first;
        EXPECT_NE(output.find(scenes[i].second), std::string::npos) << output;
    }
    EXPECT_EQ(RunProgram("--size 0x0" + out, output), 2);
    EXPECT_EQ(RunProgram(Scratch() + "missing.json" + out, output), 2);
}
