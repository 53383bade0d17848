#ifndef TAVIX_TESTS_SUPPORT_TEMPDIR_H
#define TAVIX_TESTS_SUPPORT_TEMPDIR_H

#include <cstdlib>
#include <filesystem>
#include <string>

// A new, private directory, removed in the end with everything in it.
class TempDir {
public:
    TempDir() : _path(std::filesystem::temp_directory_path() / "tavix-test.XXXXXX")
    {
        if (!mkdtemp(_path.data()))
            std::abort();
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;

    std::string const& path() const { return _path; }
    std::string file(std::string const& name) const { return _path + "/" + name; }

private:
    std::string _path;
};

#endif
