// Driver for the fuzz targets where libFuzzer is not available: runs the target on the
// files and directories named on the command line or, without arguments, on a fixed set
// of generated inputs, so that its checks run in every build.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replay(const std::vector<std::uint8_t>& input) { LLVMFuzzerTestOneInput(input.data(), input.size()); }

void replayFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::printf("replaying %s\n", path.string().c_str());
    replay(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {}));
}

} // namespace

int main(int argc, char** argv) {
    std::error_code notDirectory;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) replayFile(argv[i]);
        for (const auto& entry : std::filesystem::directory_iterator(argv[i], notDirectory)) replayFile(entry.path());
    }
    if (argc > 1) return 0;
    // Degenerate inputs, then generated ones (splitmix64) of growing length for every n and m.
    for (const std::vector<std::uint8_t>& input : {std::vector<std::uint8_t>{}, {0}, {0xFF}, {10, 4}, {10, 4, 1}})
        replay(input);
    for (std::uint8_t fill : {0x00, 0xFF, 0x01, 0x80})
        replay(std::vector<std::uint8_t>(fill == 0x00 || fill == 0xFF ? 64 : 512, fill));
    std::uint64_t state = 20261123u;
    for (int round = 0; round < 400; ++round) {
        std::vector<std::uint8_t> input(static_cast<std::size_t>(16 + (round * 37) % 1500));
        for (std::uint8_t& b : input) {
            std::uint64_t z = (state += 0x9E3779B97F4A7C15ull);
            z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
            z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
            b = static_cast<std::uint8_t>((z ^ (z >> 31)) >> 56);
        }
        input[0] = static_cast<std::uint8_t>(round % 11);
        input[1] = static_cast<std::uint8_t>((round / 11) % 5);
        replay(input);
    }
    std::printf("409 inputs passed\n");
    return 0;
}
