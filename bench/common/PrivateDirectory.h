#ifndef TAVIX_BENCH_COMMON_PRIVATEDIRECTORY_H
#define TAVIX_BENCH_COMMON_PRIVATEDIRECTORY_H

#include <string>

namespace Bench {

// A directory that is removed with its owner.
class PrivateDirectory {
public:
    PrivateDirectory();
    PrivateDirectory(PrivateDirectory const&) = delete;
    PrivateDirectory& operator=(PrivateDirectory const&) = delete;
    ~PrivateDirectory();
    std::string const& path() const { return _path; }

private:
    std::string _path;
};

} // namespace Bench

#endif
