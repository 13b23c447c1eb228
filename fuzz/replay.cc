// Runs a fuzz target over kept files: replay FOLDER-OR-FILE...
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "tests/support/inputs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

void replay(const std::filesystem::path &path) {
    std::printf("%s\n", path.filename().c_str());  // before it runs: the last one named is the one that broke
    std::fflush(stdout);
    const vorel::test::Bytes bytes = vorel::test::read_file(path);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char **argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        std::vector<std::filesystem::path> paths = {argv[i]};
        if (std::filesystem::is_directory(argv[i])) paths.assign(std::filesystem::directory_iterator(argv[i]), {});
        for (const auto &path : paths) replay(path);
        count += static_cast<int>(paths.size());
    }
    std::printf("%d files\n", count);
    return count == 0;
}
