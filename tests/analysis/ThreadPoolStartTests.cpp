// Start-up of the analysis workers when a thread cannot be made.

#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>

#include <gtest/gtest.h>

#include "analysis/AnalysisThreadPool.h"
#include "core/MessageQueue.h"
#include "core/RegisteredMessages.h"

namespace {

// Limits the child's address space to what it uses now plus a little, so that a new
// thread's stack cannot be mapped.
void ForbidNewThreads() {
  rlimit limit{};
  long nPages = 0;
  if (FILE* f = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(f, "%ld", &nPages) != 1) nPages = 0;
    std::fclose(f);
  }
  const rlim_t nNow = static_cast<rlim_t>(nPages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
  limit.rlim_cur = limit.rlim_max = nNow + (4u << 20);
  setrlimit(RLIMIT_AS, &limit);
}

}  // namespace

// Catches a pool that waits for ever on a worker whose thread never started.
TEST(AnalysisThreadPoolStart, AWorkerThatCannotStartIsReportedNotWaitedFor) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers need the address space this test takes away";
#else
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        RegisterAllMessages();
        CMessageQueue mainFrame;
        CAnalysisThreadPool pool;
        ForbidNewThreads();
        const bool bCreated = pool.Create(&mainFrame, 2);
        std::_Exit(bCreated ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "");
#endif
}
