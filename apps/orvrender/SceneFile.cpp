#include <orvrender/SceneFile.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <orvrender/SceneJson.h>
#include <orvrender/SceneLoader.h>

namespace orvrender {

using json::Fault;
using json::Json;
using orvcore::SceneNode;

bool LoadSceneText(const std::string& text, const std::string& fileName, const std::string& baseDir,
                   orvcore::SceneManager& manager, SceneInfo& info, std::string& error)
{
    info = SceneInfo();
    Json root;
    try {
        root = Json::parse(text);
    } catch (const Json::parse_error& e) {
        std::size_t column = 0;
        const std::size_t line = json::LineAndColumn(text, e.byte == 0 ? 0 : e.byte - 1, column);
        std::string what = e.what();
        const std::size_t colon = what.find("error: ");
        if (colon != std::string::npos)
            what = what.substr(colon + 7);
        error = fileName + ": line " + std::to_string(line) + ", column " + std::to_string(column) +
                ": not valid JSON: " + what;
        return false;
    } catch (const std::exception& e) {
        error = fileName + ": not valid JSON: " + e.what();
        return false;
    }
    try {
        SceneLoader loader(baseDir, manager, info);
        loader.Load(root);
    } catch (const Fault& fault) {
        error = fileName + ": " + fault.path + ": " + fault.what;
        return false;
    } catch (const std::exception& e) {
        error = fileName + ": " + e.what();
        return false;
    }
    error.clear();
    return true;
}

bool LoadSceneFile(const std::string& path, orvcore::SceneManager& manager, SceneInfo& info, std::string& error)
{
    info = SceneInfo();
    std::error_code code;
    if (std::filesystem::is_directory(path, code)) {
        error = path + ": is a folder, not a scene file";
        return false;
    }
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        error = path + ": cannot open the file";
        return false;
    }
    std::ostringstream content;
    content << stream.rdbuf();
    if (stream.bad()) {
        error = path + ": cannot read the file";
        return false;
    }
    const std::string baseDir = std::filesystem::path(path).parent_path().string();
    return LoadSceneText(content.str(), path, baseDir, manager, info, error);
}

std::string NameOf(const SceneInfo& info, const orvcore::SceneNode* node)
{
    for (const SceneNode* current = node; current; current = current->GetParent()) {
        for (const auto& entry : info.names) {
            if (entry.first == current)
                return entry.second;
        }
    }
    return std::string();
}

} // namespace orvrender
