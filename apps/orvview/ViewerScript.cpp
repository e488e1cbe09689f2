#include <orvview/ViewerScript.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

#include <orvcommon/Logger.h>
#include <orvrender/SceneJson.h>
#include <orvview/Viewer.h>

namespace orvview {

namespace {

bool Number(const std::string& word, double& value)
{
    std::istringstream in(word);
    in >> value;
    return in && in.eof() && std::isfinite(value);
}

// Modifier and button words after the coordinates.
void Flags(const std::vector<std::string>& words, std::size_t from, int& mods, int& button)
{
    for (std::size_t i = from; i < words.size(); ++i) {
        const std::string& w = words[i];
        if (w == "shift")
            mods |= MOD_SHIFT;
        else if (w == "ctrl")
            mods |= MOD_CTRL;
        else if (w == "alt")
            mods |= MOD_ALT;
        else if (w == "right")
            button = BUTTON_RIGHT;
        else if (w == "middle")
            button = BUTTON_MIDDLE;
    }
}

// Expected argument counts (numbers first) of each command.
int NumbersOf(const std::string& command)
{
    if (command == "move" || command == "click" || command == "press" || command == "release")
        return 2;
    if (command == "drag")
        return 4;
    if (command == "scroll")
        return 1;
    if (command == "key" || command == "view" || command == "screenshot" || command == "quit")
        return 0;
    return -1;
}

} // namespace

bool ViewerScript::Load(const std::string& path, std::string& error)
{
    std::ifstream in(path);
    if (!in) {
        error = path + ": cannot be read";
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return Parse(text.str(), path);
}

bool ViewerScript::Parse(const std::string& text, const std::string& name)
{
    m_Name = name;
    m_Events.clear();
    m_Next = 0;
    std::istringstream lines(text);
    std::string line;
    int number = 0;
    while (std::getline(lines, line)) {
        ++number;
        line = line.substr(0, line.find('#'));
        std::istringstream in(line);
        std::vector<std::string> words;
        for (std::string word; in >> word;)
            words.push_back(word);
        if (words.empty())
            continue;
        Event event;
        event.line = number;
        const int numbers = words.size() > 1 ? NumbersOf(words[1]) : -1;
        bool ok = Number(words[0], event.time) && event.time >= 0.0 && numbers >= 0 &&
                  words.size() >= std::size_t(2 + numbers);
        for (int i = 0; ok && i < numbers; ++i) {
            double value;
            ok = Number(words[std::size_t(2 + i)], value);
        }
        if (ok && (words[1] == "key" || words[1] == "view" || words[1] == "screenshot"))
            ok = words.size() >= 3;
        if (!ok) {
            orvcore::Logger::Instance().Waring(name + ":" + std::to_string(number) + ": script line is not valid!");
            continue;
        }
        event.words.assign(words.begin() + 1, words.end());
        m_Events.push_back(std::move(event));
    }
    std::stable_sort(m_Events.begin(), m_Events.end(), [](const Event& a, const Event& b) { return a.time < b.time; });
    return true;
}

double ViewerScript::UntilNext(double now) const
{
    if (IsDone())
        return 1e9;
    if (m_Start < 0.0)
        return 0.0;
    return std::max(0.0, m_Start + m_Events[m_Next].time - now);
}

bool ViewerScript::Dispatch(double now, Viewer& viewer)
{
    if (m_Start < 0.0)
        m_Start = now;
    while (m_Next < m_Events.size() && m_Start + m_Events[m_Next].time <= now) {
        const Event& event = m_Events[m_Next++];
        if (!Run(event, viewer))
            return false;
    }
    return true;
}

bool ViewerScript::Run(const Event& event, Viewer& viewer)
{
    const std::vector<std::string>& w = event.words;
    const std::string& command = w[0];
    auto number = [&w](std::size_t i) { return float(std::stod(w[i])); };
    int mods = 0, button = BUTTON_LEFT;
    if (command == "move") {
        viewer.OnMouseMove(number(1), number(2));
    } else if (command == "click") {
        Flags(w, 3, mods, button);
        viewer.OnMouseMove(number(1), number(2));
        viewer.OnMouseButton(button, true, mods);
        viewer.OnMouseButton(button, false, mods);
    } else if (command == "press" || command == "release") {
        Flags(w, 3, mods, button);
        viewer.OnMouseMove(number(1), number(2));
        viewer.OnMouseButton(button, command == "press", mods);
    } else if (command == "drag") {
        Flags(w, 5, mods, button);
        const float x0 = number(1), y0 = number(2), x1 = number(3), y1 = number(4);
        viewer.OnMouseMove(x0, y0);
        viewer.OnMouseButton(button, true, mods);
        for (int step = 1; step <= 10; ++step)
            viewer.OnMouseMove(x0 + (x1 - x0) * float(step) / 10.0f, y0 + (y1 - y0) * float(step) / 10.0f);
        viewer.OnMouseButton(button, false, mods);
    } else if (command == "scroll") {
        viewer.OnScroll(number(1));
    } else if (command == "key") {
        Flags(w, 2, mods, button);
        std::string key = w[1];
        if (key == "escape")
            viewer.OnKey(Viewer::KEY_ESCAPE, mods);
        else if (key == "space")
            viewer.OnKey(' ', mods);
        else if (key.size() == 1)
            viewer.OnKey(static_cast<unsigned char>(key[0]), mods);
        else
            orvcore::Logger::Instance().Waring(m_Name + ":" + std::to_string(event.line) + ": unknown key!");
    } else if (command == "view") {
        orvcore::EnumStandardView view;
        if (orvrender::json::ParseView(w[1], view))
            viewer.ShowView(view);
        else
            orvcore::Logger::Instance().Waring(m_Name + ":" + std::to_string(event.line) + ": unknown view!");
    } else if (command == "screenshot") {
        viewer.RequestScreenshot(w[1]);
    } else if (command == "quit") {
        return false;
    }
    return true;
}

} // namespace orvview
