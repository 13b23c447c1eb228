// The files of the corpus.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>

#include "support/inputs.h"

namespace vorel::test {

// run(name, bytes) over every file of a folder; false where there is none.
template <typename Run>
bool for_each_of_corpus(const char *folder, const Run &run) {
    const std::filesystem::path path = std::filesystem::path(VOREL_CORPUS) / folder;
    if (!std::filesystem::is_directory(path)) return false;
    for (const auto &entry : std::filesystem::directory_iterator(path)) {
        SCOPED_TRACE(entry.path().string());
        run(entry.path().filename().string(), read_file(entry.path()));
    }
    return true;
}

}  // namespace vorel::test
