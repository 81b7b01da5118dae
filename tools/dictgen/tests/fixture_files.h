#pragma once

#include <string>

namespace talvo::dictgen::test {

// A fresh folder under the system's temporary folder, removed with everything
// in it when the object goes away.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }
    // Writes content to path()/name (creating folders) and returns the full path.
    std::string write(const std::string& name, const std::string& content) const;
    // As write, compressed with bzip2; keepBytes < 0 keeps all of it, else
    // only that many bytes, to make a truncated file.
    std::string writeBz2(const std::string& name, const std::string& content,
                         long keepBytes = -1) const;

  private:
    std::string m_path;
};

std::string readAll(const std::string& path);

}  // namespace talvo::dictgen::test
