#include "common/PrivateDirectory.h"

#include "common/Fail.h"

#include <cstdlib>
#include <filesystem>

namespace Bench {

PrivateDirectory::PrivateDirectory()
    : _path((std::filesystem::temp_directory_path() / "tavix-bench-XXXXXX").string())
{
    if (!mkdtemp(_path.data()))
        fail("a private directory cannot be made");
}

PrivateDirectory::~PrivateDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

} // namespace Bench
