// Runs a fuzzer over the files and folders it is given, so that what was once found is tried in every test run.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

void Replay(std::filesystem::path const& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string const input{std::istreambuf_iterator<char>(stream), {}};
    if (!stream) {
        throw std::runtime_error("cannot read " + file.string());
    }
    std::cout << file.string() << std::endl;
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t replayed = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            Replay(argv[i]);
            ++replayed;
            continue;
        }
        for (auto const& entry : std::filesystem::directory_iterator(argv[i])) {
            Replay(entry.path());
            ++replayed;
        }
    }
    std::cout << replayed << " inputs\n";
    return replayed > 0 ? 0 : 1;
}
