// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
// Runs the fuzz target over saved inputs (files, or directories of files), so
// that every compiler and every test run checks the corpus, not only libFuzzer.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> inputFiles(int argc, char** argv)
{
    std::vector<std::filesystem::path> files;
    for (int index = 1; index < argc; ++index) {
        const std::filesystem::path path(argv[index]);
        if (std::filesystem::is_directory(path)) {
            for (const auto& entry : std::filesystem::directory_iterator(path)) {
                if (entry.is_regular_file()) {
                    files.push_back(entry.path());
                }
            }
        } else {
            files.push_back(path);
        }
    }
    return files;
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::filesystem::path> files = inputFiles(argc, argv);
    for (const std::filesystem::path& file : files) {
        std::ifstream stream(file, std::ios::binary);
        if (!stream) {
            std::cerr << "cannot read " << file << "\n";
            return 1;
        }
        const std::string input((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
    }
    std::cout << "replayed " << files.size() << " inputs\n";
    // An empty corpus would pass without checking anything.
    return files.empty() ? 1 : 0;
}
