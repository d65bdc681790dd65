// How many processors the command lets the correction use: --threads and
// ORTAVEL_THREADS narrow the process's affinity set, which the plug-in's pool
// and the batch's jobs inherit; the result does not depend on the count.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>

#include "exit_codes.h"
#include "processor_limit.h"
#include "run_cli.h"

namespace fs = std::filesystem;
using namespace ortavel::cli;

namespace {

int affinityCount() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) != 0) return 0;
  return CPU_COUNT(&set);
}

TEST(Threads, TheCommandLineWinsOverTheEnvironmentAndBadValuesAreNamed) {
  EXPECT_EQ(requestedThreads(3, "7"), 3);
  EXPECT_EQ(requestedThreads(std::nullopt, "7"), 7);
  EXPECT_EQ(requestedThreads(std::nullopt, nullptr), std::nullopt);
  EXPECT_EQ(requestedThreads(std::nullopt, ""), std::nullopt);
  for (const char *bad : {"0", "-2", "two", "2x", " 2", "99999999999"}) {
    try {
      requestedThreads(std::nullopt, bad);
      ADD_FAILURE() << "accepted \"" << bad << "\"";
    } catch (const CliError &e) {
      EXPECT_EQ(e.code(), ExitCode::kUsage);
      EXPECT_NE(std::string(e.what()).find("ORTAVEL_THREADS"), std::string::npos) << e.what();
    }
  }
}

// In a child, so that the test process keeps its processors: after the limit
// the process counts one processor, and a thread started afterwards (as the
// plug-in's pool is) may run on one only.
TEST(Threads, ALimitNarrowsTheProcessAndTheThreadsItStartsLater) {
  if (affinityCount() < 2) GTEST_SKIP() << "needs a process allowed two processors";
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    int result[3] = {-1, -1, -1};
    result[0] = limitProcessors(1);
    result[1] = usableProcessors();
    std::thread([&] { result[2] = affinityCount(); }).join();
    (void)!write(fds[1], result, sizeof result);
    _exit(0);
  }
  close(fds[1]);
  int result[3] = {-2, -2, -2};
  EXPECT_EQ(read(fds[0], result, sizeof result), static_cast<ssize_t>(sizeof result));
  close(fds[0]);
  waitpid(child, nullptr, 0);
  EXPECT_EQ(result[0], 1);
  EXPECT_EQ(result[1], 1);
  EXPECT_EQ(result[2], 1);
}

TEST(Threads, AskingForMoreThanThereAreKeepsWhatThereIs) {
  const int before = usableProcessors();
  EXPECT_EQ(limitProcessors(before + 5), before);
  EXPECT_EQ(usableProcessors(), before);
}

// One processor (no pool) and the default pool write the same bytes, from
// the option and from the environment.
TEST(Threads, TheOutputDoesNotDependOnTheCount) {
  std::string t = (fs::temp_directory_path() / "ortavel-threads-XXXXXX").string();
  const fs::path dir = ::mkdtemp(t.data());
  const std::string in =
      (fs::path(ORTAVEL_TESTDATA_DIR) / "exif/exif-jpeg/deb-opencv-doc_scenetext02.jpg").string();
  auto run = [&](const std::string &name, std::vector<std::string> extra) {
    std::vector<std::string> args = {
        "correct",  in,        (dir / name).string(), "-q", "--k1", "-0.2", "--k2", "0.05",
        "--method", "lanczos8"};
    args.insert(args.end(), extra.begin(), extra.end());
    const clitest::CliResult r = clitest::runCli(args, dir);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    return clitest::slurp(dir / name);
  };
  const std::string pooled = run("pooled.png", {});
  EXPECT_FALSE(pooled.empty());
  EXPECT_EQ(run("one.png", {"--threads", "1"}), pooled);
  ::setenv("ORTAVEL_THREADS", "1", 1);
  EXPECT_EQ(run("one-env.png", {}), pooled);
  const clitest::CliResult bad = clitest::runCli({"info", in, "--threads", "1"}, dir);
  EXPECT_EQ(bad.exitCode, 2) << bad.err;
  ::setenv("ORTAVEL_THREADS", "zero", 1);
  const clitest::CliResult badEnv = clitest::runCli({"info", in}, dir);
  EXPECT_EQ(badEnv.exitCode, 2);
  EXPECT_NE(badEnv.err.find("ORTAVEL_THREADS"), std::string::npos) << badEnv.err;
  ::unsetenv("ORTAVEL_THREADS");
  fs::remove_all(dir);
}

}  // namespace
