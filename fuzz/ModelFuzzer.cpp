// Model files from users: the first byte picks the format (s STL, o OBJ,
// p PLY, g glTF, b GLB, m 3MF; upper case imports without feature edges; any
// other byte picks one by its value), the rest is written to a file of that
// extension in a folder of this process and imported with ImportModel.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include <unistd.h>

#include <glm/mat4x4.hpp>

#include <orvcommon/Logger.h>
#include <orvrender/ModelImporter.h>

namespace {

std::filesystem::path g_Folder;

void RemoveFolder()
{
    std::error_code code;
    std::filesystem::remove_all(g_Folder, code);
}

} // namespace

// Model files are read in a child process (see ModelReader.h); a small
// quarantine keeps the process small, which makes each fork cheap.
extern "C" const char* __asan_default_options() { return "quarantine_size_mb=16"; }

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (!std::getenv("ORVFUZZ_LOG")) // set it to see the warnings
        orvcore::Logger::Instance().SetSink(nullptr);
    const char* tmp = std::getenv("TMPDIR");
    g_Folder = std::filesystem::path(tmp && *tmp ? tmp : "/tmp") / ("orvfuzz-model-" + std::to_string(getpid()));
    std::filesystem::create_directories(g_Folder);
    std::atexit(RemoveFolder);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    if (size < 1)
        return 0;
    static const char* const kFormats = "sopgbm";
    static const char* const kExtensions[] = {"stl", "obj", "ply", "gltf", "glb", "3mf"};
    const char tag = static_cast<char>(data[0]);
    const char* found = std::strchr(kFormats, tag >= 'A' && tag <= 'Z' ? tag - 'A' + 'a' : tag);
    const std::size_t format = tag != 0 && found ? std::size_t(found - kFormats) : data[0] % 6;
    orvrender::ImportOptions options;
    options.edges = !(tag >= 'A' && tag <= 'Z');
    // A reader that hangs is stopped well within libFuzzer's -timeout.
    options.timeLimitSeconds = 2;

    const std::filesystem::path path = g_Folder / (std::string("model.") + kExtensions[format]);
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data + 1), std::streamsize(size - 1));
    }
    orvrender::ImportedModel model;
    std::string error;
    const bool imported = orvrender::ImportModel(path.string(), options, model, error);
    // A refusal must say why and leave nothing; a success must hold triangles.
    if (imported ? !model.root || model.triangles == 0 || !error.empty() : model.root || error.empty())
        std::abort();
    if (imported)
        model.root->UpdateTransform(glm::mat4(1.0f));
    // Files that crash or hang Assimp end as errors; ORVFUZZ_CONTAINED names
    // a folder that keeps them (they are no fault of ours, but worth a look).
    const std::string prefix = "cannot read " + path.string() + ": ";
    const bool hang = error.rfind(prefix + "reading took longer", 0) == 0;
    const bool crash = error.rfind(prefix + "the file made the reader fail", 0) == 0;
    if (const char* keep = std::getenv("ORVFUZZ_CONTAINED"); keep && (hang || crash)) {
        const std::string bytes(reinterpret_cast<const char*>(data), size);
        const std::string name = (hang ? "hang-" : "crash-") + std::to_string(std::hash<std::string>()(bytes));
        std::ofstream(std::filesystem::path(keep) / name, std::ios::binary) << bytes;
    }
    return 0;
}
