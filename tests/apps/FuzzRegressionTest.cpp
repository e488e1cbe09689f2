// Inputs the fuzzers (fuzz/) once broke the loaders with, one file each under
// fuzz-regressions/: scene files (.json, relative names starting at
// examples/) and model files. Each must come back cleanly: loaded, or refused
// with a one-line message, within the reader's time limit.
#include <orvrender/ModelImporter.h>
#include <orvrender/SceneFile.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <orvcommon/Logger.h>

namespace fs = std::filesystem;

TEST(FuzzRegression, EveryKeptInputLoadsOrIsRefusedWithOneLine)
{
    orvcore::Logger::Instance().SetSink(nullptr);
    const fs::path root = ORVCORE_SOURCE_DIR;
    std::size_t cases = 0;
    for (const auto& entry : fs::directory_iterator(root / "tests/apps/fuzz-regressions")) {
        const std::string path = entry.path().string();
        std::string error;
        bool loaded = false;
        if (entry.path().extension() == ".json") {
            std::ifstream in(path, std::ios::binary);
            std::ostringstream text;
            text << in.rdbuf();
            orvcore::SceneManager manager(320, 240);
            orvrender::SceneInfo info;
            loaded = orvrender::LoadSceneText(text.str(), path, (root / "examples").string(), manager, info, error);
        } else {
            orvrender::ImportOptions options;
            options.timeLimitSeconds = 20;
            orvrender::ImportedModel model;
            loaded = orvrender::ImportModel(path, options, model, error);
            EXPECT_EQ(loaded, model.root != nullptr) << path;
        }
        EXPECT_EQ(loaded, error.empty()) << path << ": " << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << path;
        EXPECT_LT(error.size(), path.size() + 300) << path;
        EXPECT_NE(error.rfind("cannot read " + path + ": reading took longer", 0), 0u) << path << ": timed out";
        ++cases;
    }
    orvcore::Logger::Instance().ResetSink();
    EXPECT_GT(cases, 0u);
}
