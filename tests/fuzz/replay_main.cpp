// Replays stored fuzz inputs through a fuzz target, so that every corpus file
// runs as an ordinary test in builds without libFuzzer. Arguments are files
// or folders (every regular file inside, not recursive).
#include <dirent.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool replayFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    fprintf(stderr, "replay: cannot read %s\n", path.c_str());
    return false;
  }
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                             std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int replayed = 0;
  for (int i = 1; i < argc; ++i) {
    struct stat st;
    if (stat(argv[i], &st) != 0) {
      fprintf(stderr, "replay: %s does not exist\n", argv[i]);
      return 1;
    }
    if (!S_ISDIR(st.st_mode)) {
      if (!replayFile(argv[i])) return 1;
      ++replayed;
      continue;
    }
    DIR* dir = opendir(argv[i]);
    if (dir == nullptr) return 1;
    while (dirent* entry = readdir(dir)) {
      std::string path = std::string(argv[i]) + "/" + entry->d_name;
      if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) continue;
      if (!replayFile(path)) {
        closedir(dir);
        return 1;
      }
      ++replayed;
    }
    closedir(dir);
  }
  printf("replayed %d inputs\n", replayed);
  return replayed > 0 ? 0 : 1;
}
