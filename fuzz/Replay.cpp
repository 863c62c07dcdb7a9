// Runs a fuzz target once with every file of the folders given: the corpus as a test.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  int count = 0;
  for (int index = 1; index < argc; ++index) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[index])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++count;
    }
  }
  std::printf("%d inputs replayed\n", count);
  return count > 0 ? 0 : 1;
}
