// The folder walk of /window/getfoldersize on a generated tree of 100,000 files in nested
// folders, beside the system's own walk of the same tree (`du -sb`) in the same run; and the
// early stop, a limit passed at the first file, beside `du -sb` of that one file.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "base/CommonFunc.h"
#include "floor_ratio.h"
#include "light/tavrin_browser_handler.h"

extern char** environ;

namespace {

// 10 folders of 10 folders of 1,000 files, sized 0 to 999 bytes (sparse), made once.
class Tree {
 public:
  Tree() {
    std::string pattern = (std::filesystem::temp_directory_path() / "folder-walk-XXXXXX").string();
    if (!mkdtemp(pattern.data())) return;
    root_ = pattern;
    for (int a = 0; a < 10; ++a) {
      const std::string outer = root_ + "/d" + std::to_string(a);
      mkdir(outer.c_str(), 0700);
      for (int b = 0; b < 10; ++b) {
        const std::string inner = outer + "/e" + std::to_string(b);
        mkdir(inner.c_str(), 0700);
        for (int f = 0; f < 1000; ++f) {
          const std::string file = inner + "/f" + std::to_string(f) + ".dat";
          const int fd = open(file.c_str(), O_CREAT | O_WRONLY, 0600);
          if (fd >= 0) {
            if (ftruncate(fd, f) != 0) {
            }
            close(fd);
          }
        }
      }
    }
  }
  ~Tree() {
    std::error_code ignored;
    if (!root_.empty()) std::filesystem::remove_all(root_, ignored);
  }
  const std::string& root() const { return root_; }

 private:
  std::string root_;
};

const Tree& TheTree() {
  static Tree tree;
  return tree;
}

void Du(const std::string& path) {
  const char* argv[] = {"du", "-sb", path.c_str(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  if (posix_spawnp(&pid, "du", &actions, nullptr, const_cast<char**>(argv), environ) == 0) {
    int status = 0;
    waitpid(pid, &status, 0);
  }
  posix_spawn_file_actions_destroy(&actions);
}

uint64_t Walk(int64_t limit) {
  tnwebui::FolderEntries entries;
  int64_t total = 0;
  tnwebui::WalkFolder(tnwebui::Utf8ToWide(TheTree().root()), u"*.*", entries, total, limit);
  return total;
}

void BM_FolderWalk(benchmark::State& state) {
  Du(TheTree().root());  // made, and in the cache, before the clock runs
  uint64_t total = 0;
  for (auto _ : state) total = Walk(INT64_MAX);
  if (total != 100ULL * (999 * 1000 / 2)) state.SkipWithError("wrong total");
  state.SetItemsProcessed(state.iterations() * 100000);
}

void BM_FolderWalk_Floor(benchmark::State& state) {
  Du(TheTree().root());  // a warm cache for both
  for (auto _ : state) Du(TheTree().root());
  state.SetItemsProcessed(state.iterations() * 100000);
}

void BM_FolderWalkEarlyStop(benchmark::State& state) {
  // The first file with a byte passes a limit of 0.
  for (auto _ : state) benchmark::DoNotOptimize(Walk(0));
}

void BM_FolderWalkEarlyStop_Floor(benchmark::State& state) {
  const std::string one = TheTree().root() + "/d0/e0/f1.dat";
  for (auto _ : state) Du(one);
}

BENCHMARK(BM_FolderWalk)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FolderWalk_Floor)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FolderWalkEarlyStop)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_FolderWalkEarlyStop_Floor)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

TN_BENCHMARK_MAIN()
