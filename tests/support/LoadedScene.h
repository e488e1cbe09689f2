#pragma once

// A scene file's text loaded by the orvrender program's loader into a
// scene manager of its own (800 x 600), with what the loader reported.
#include <memory>
#include <string>

#include <orvcore/scene/SceneManager.h>
#include <orvrender/SceneFile.h>

namespace orvtest {

struct LoadedScene {
    std::unique_ptr<orvcore::SceneManager> manager = std::make_unique<orvcore::SceneManager>(800, 600);
    orvrender::SceneInfo info;
    std::string error;
    bool ok = false;
};

/// Loads `text` as "scene.json" of the source tree (relative paths resolve
/// against the repository root).
inline LoadedScene LoadScene(const std::string& text)
{
    LoadedScene result;
    result.ok = orvrender::LoadSceneText(text, "scene.json", ORVCORE_SOURCE_DIR, *result.manager, result.info,
                                         result.error);
    return result;
}

} // namespace orvtest
