// Scene files from users: any bytes go through LoadSceneText into a fresh
// scene manager. Relative file names start at examples/, so "model" nodes
// reach real model files; the loader only reads.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <orvcommon/Logger.h>
#include <orvcore/scene/SceneManager.h>
#include <orvrender/SceneFile.h>

// Model files are read in a child process (see ModelReader.h); a small
// quarantine keeps the process small, which makes each fork cheap.
extern "C" const char* __asan_default_options() { return "quarantine_size_mb=16"; }

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (!std::getenv("ORVFUZZ_LOG")) // set it to see the warnings
        orvcore::Logger::Instance().SetSink(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    orvcore::SceneManager manager(640, 480);
    orvrender::SceneInfo info;
    std::string error;
    const bool loaded = orvrender::LoadSceneText(text, "fuzz.json", ORVFUZZ_BASE_DIR, manager, info, error);
    // A refusal must say why; an accepted scene must be usable.
    if (loaded == error.empty()) {
        if (loaded)
            manager.UpdateWorld();
        return 0;
    }
    std::abort();
}
