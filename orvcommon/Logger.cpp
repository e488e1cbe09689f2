#include <orvcommon/Logger.h>

#include <cstdio>

namespace orvcore {

namespace {
void WriteToStderr(EnumLogLevel level, const std::string& text)
{
    std::fprintf(stderr, "orvcore [%s] %s\n", Logger::LevelName(level), text.c_str());
}
} // namespace

Logger& Logger::Instance()
{
    static Logger instance;
    return instance;
}

Logger::Logger() : m_Sink(&WriteToStderr) {}

const char* Logger::LevelName(EnumLogLevel level)
{
    switch (level) {
    case EnumLogLevel::Debug: return "debug";
    case EnumLogLevel::Info: return "info";
    case EnumLogLevel::Warning: return "warning";
    case EnumLogLevel::Error: return "error";
    }
    return "unknown";
}

void Logger::Log(EnumLogLevel level, std::string_view text)
{
    if (level < m_Level || !m_Sink)
        return;
    m_Sink(level, std::string(text));
}

void Logger::Waring(std::string_view text) { Log(EnumLogLevel::Warning, text); }
void Logger::Info(std::string_view text) { Log(EnumLogLevel::Info, text); }
void Logger::Error(std::string_view text) { Log(EnumLogLevel::Error, text); }
void Logger::Debug(std::string_view text) { Log(EnumLogLevel::Debug, text); }

void Logger::SetSink(Sink sink) { m_Sink = std::move(sink); }
void Logger::ResetSink() { m_Sink = &WriteToStderr; }

} // namespace orvcore
