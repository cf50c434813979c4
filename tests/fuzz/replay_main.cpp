// Driver for the fuzz target where libFuzzer is not available: runs the target on the
// files and directories named on the command line or, without arguments, on a fixed set
// of generated inputs, so that its checks run in every build.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void runFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::printf("replaying %s (%zu bytes)\n", path.string().c_str(), bytes.size());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::filesystem::is_directory(argv[i])) {
            for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
                if (entry.is_regular_file()) runFile(entry.path());
        } else {
            runFile(argv[i]);
        }
    }
    if (argc > 1) return 0;

    // Degenerate inputs, then generated ones (splitmix64) of growing length for every n and m.
    std::vector<std::vector<std::uint8_t> > inputs = {
        {}, {0}, {0xFF}, {10, 4}, {10, 4, 1}, std::vector<std::uint8_t>(64, 0), std::vector<std::uint8_t>(64, 0xFF),
        std::vector<std::uint8_t>(512, 0x01), std::vector<std::uint8_t>(512, 0x80)};
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
        inputs.push_back(input);
    }
    for (const auto& input : inputs) LLVMFuzzerTestOneInput(input.data(), input.size());
    std::printf("%zu generated inputs passed\n", inputs.size());
    return 0;
}
