#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace pv::test {

// A folder of its own under TMPDIR, removed with everything in it.
class TempDir
{
public:
    TempDir()
    {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/pv-test.XXXXXX";
        m_path = ::mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string filePath(const std::string& name) const { return m_path + '/' + name; }

private:
    std::string m_path;
};

} // namespace pv::test
