// Worker threads: queue order, idle waits, status echo, shutdown and bounded stop.

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "core/AppState.h"
#include "core/BackgroundThreadBase.h"
#include "core/MessageQueue.h"
#include "core/RegisteredMessages.h"
#include "support/TestEnvironment.h"

namespace {

using namespace std::chrono_literals;

// A worker whose PKT_READ packets take m_nParam1 milliseconds and record their order.
class CSlowWorker final : public CBackgroundThreadBase {
 public:
  ~CSlowWorker() override { StopThread(); }
  std::atomic<int> processed{0};
  std::vector<std::uint32_t> order;  // touched only by the worker thread until idle
  std::atomic<bool>* pBlock = nullptr;
  // The nice value and scheduling policy the worker ran its last packet at.
  std::atomic<int> nNice{-100};
  std::atomic<int> nPolicy{-1};

 protected:
  void ProcessPacket(CBkgPacket& packet, int) override {
    const pid_t tid = static_cast<pid_t>(::syscall(SYS_gettid));
    nNice = getpriority(PRIO_PROCESS, static_cast<id_t>(tid));
    nPolicy = sched_getscheduler(tid);
    if (packet.m_nType == PKT_STATUS) {
      EchoStatus(packet);
      return;
    }
    if (pBlock) {
      while (pBlock->load()) std::this_thread::sleep_for(5ms);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(packet.m_nParam1));
    order.push_back(packet.m_nParam2);
    ++processed;
  }
};

class ThreadTest : public ::testing::Test {
 protected:
  void SetUp() override { RegisterAllMessages(); }
  void TearDown() override { AppState::bShuttingDown = false; }
};

TEST_F(ThreadTest, WaitUntilIdleWithoutLimitDrainsTheWholeQueueInOrder) {
  // Catches a worker that reports idle as soon as it dequeues, or reorders packets.
  CSlowWorker w;
  ASSERT_TRUE(w.StartThread());
  for (std::uint32_t i = 0; i < 20; ++i) w.QueuePacket(std::make_unique<CBkgPacket>(PKT_READ, nullptr, 2, i));
  w.WaitUntilIdle(0);
  EXPECT_EQ(w.processed.load(), 20);
  std::vector<std::uint32_t> expected(20);
  for (std::uint32_t i = 0; i < 20; ++i) expected[i] = i;
  EXPECT_EQ(w.order, expected);
  EXPECT_EQ(w.QueueLength(), 0);
}

TEST_F(ThreadTest, WaitUntilIdleWithLimitReturnsWhileTheWorkerIsStillBusy) {
  // Catches a limit that is ignored (the call would block for the whole 2 s of work).
  CSlowWorker w;
  ASSERT_TRUE(w.StartThread());
  for (int i = 0; i < 10; ++i) w.QueuePacket(std::make_unique<CBkgPacket>(PKT_READ, nullptr, 200, 0));
  w.WaitUntilIdle(100);
  EXPECT_LT(w.processed.load(), 10);
  EXPECT_GT(w.QueueLength(), 0);
  w.WaitUntilIdle(0);
  EXPECT_EQ(w.processed.load(), 10);
}

TEST_F(ThreadTest, StatusEchoArrivesAfterTheWorkQueuedBeforeIt) {
  CMessageQueue window;  // outlives the worker that posts to it
  CSlowWorker w;
  ASSERT_TRUE(w.StartThread());
  for (int i = 0; i < 5; ++i) w.QueuePacket(std::make_unique<CBkgPacket>(PKT_READ, &window, 20, 0));
  w.QueuePacket(std::make_unique<CBkgPacket>(PKT_STATUS, &window, 7, 9));
  auto msg = window.Wait(5s);
  ASSERT_TRUE(msg);
  EXPECT_EQ(msg->nMsg, RegMsgSDR::nMsgThreadStatus);
  EXPECT_EQ(msg->wParam, 7u);
  EXPECT_EQ(msg->lParam, 9);
  EXPECT_EQ(w.processed.load(), 5);
}

TEST_F(ThreadTest, AfterShutdownBeginsNoPriorityPacketAndNoLogLine) {
  CMessageQueue window;  // outlives the worker that posts to it
  CSlowWorker w;
  w.SetTargetWindow(&window);
  AppState::bShuttingDown = true;
  w.SetPriority(THREAD_PRIORITY_IDLE);
  EXPECT_EQ(w.QueueLength(), 0);
  w.Log("must not appear %d", 1);
  EXPECT_EQ(window.Size(), 0u);
  AppState::bShuttingDown = false;
  w.Log("appears %d", 2);
  auto msg = window.TryGet();
  ASSERT_TRUE(msg);
  EXPECT_EQ(msg->nMsg, RegMsgSDR::nMsgSendLogfile);
  auto text = msg->TakePayload<CValuePayload<std::string>>();
  ASSERT_TRUE(text);
  EXPECT_EQ(text->value, "appears 2");
}

TEST_F(ThreadTest, StartingLogsTheThreadNameAndPrioritiesAreNamed) {
  CMessageQueue window;  // outlives the worker that posts to it
  CSlowWorker w;
  w.SetThreadName("FFT 1");
  w.SetTargetWindow(&window);
  ASSERT_TRUE(w.StartThread());
  w.SetPriority(THREAD_PRIORITY_IDLE);
  w.WaitUntilIdle(0);
  auto msg = window.Wait(2s);
  ASSERT_TRUE(msg);
  EXPECT_EQ(msg->TakePayload<CValuePayload<std::string>>()->value, "Starting thread \"FFT 1\"");
  EXPECT_STREQ(PriorityName(-15), "Idle");
  EXPECT_STREQ(PriorityName(-1), "Below normal");
  EXPECT_STREQ(PriorityName(2), "Highest");
  EXPECT_STREQ(PriorityName(7), "Other");
}

// Idle must still get a share of the processor beside busy processes (nice 19, not
// SCHED_IDLE), and a worker must reach "Below normal" without privileges: it may not start
// below it, since an unprivileged thread cannot raise its priority again.
TEST_F(ThreadTest, IdleIsNiceNineteenAndBelowNormalIsReachableUnprivileged) {
  const int nResult = RunInChild([] {
    if (getuid() == 0 && setuid(65534) != 0) return 10;
    // A test run that is itself niced past +5 cannot go back up to it.
    const int nBelowNormal = std::max(5, getpriority(PRIO_PROCESS, 0));
    CMessageQueue window;
    CSlowWorker idle, reader;
    idle.SetTargetWindow(&window);
    reader.SetTargetWindow(&window);
    if (!idle.StartThread() || !reader.StartThread()) return 11;
    idle.SetPriority(THREAD_PRIORITY_IDLE);
    reader.SetPriority(THREAD_PRIORITY_BELOW_NORMAL);
    for (CSlowWorker* w : {&idle, &reader}) {
      auto p = std::make_unique<CBkgPacket>(PKT_READ);
      w->QueuePacket(std::move(p));
      w->WaitUntilIdle(0);
    }
    if (idle.nNice != 19) return 1;
    if (idle.nPolicy != SCHED_OTHER) return 2;
    if (reader.nNice != nBelowNormal) return 3;
    return 0;
  });
  EXPECT_EQ(nResult, 0);
}

TEST_F(ThreadTest, StopThreadIsBoundedWhenAPacketNeverFinishes) {
  // A worker stuck in a packet must not hang the program's exit: StopThread gives up after
  // its bound and leaves the thread to finish by itself.
  static std::atomic<bool> block{true};
  // Outlives the test (reachable, never freed): its abandoned thread still uses it.
  static CSlowWorker* w = new CSlowWorker;
  w->pBlock = &block;
  ASSERT_TRUE(w->StartThread());
  w->QueuePacket(std::make_unique<CBkgPacket>(PKT_READ, nullptr, 0, 0));
  std::this_thread::sleep_for(50ms);
  const auto t0 = std::chrono::steady_clock::now();
  w->StopThread();
  const auto waited = std::chrono::steady_clock::now() - t0;
  EXPECT_TRUE(w->IsRunning());
  EXPECT_LT(waited, 30s);
  block = false;
  while (w->IsRunning()) std::this_thread::sleep_for(5ms);
}

TEST_F(ThreadTest, StoppedWorkerFreesPacketsStillQueued) {
  // Packets left behind at stop are owned by the queue and must not leak (ASan checks).
  auto w = std::make_unique<CSlowWorker>();
  ASSERT_TRUE(w->StartThread());
  for (int i = 0; i < 50; ++i) w->QueuePacket(std::make_unique<CBkgPacket>(PKT_READ, nullptr, 5, 0));
  w->StopThread();
  EXPECT_FALSE(w->IsRunning());
  EXPECT_LT(w->processed.load(), 50);
}

}  // namespace

namespace {

// Catches a wait that polls for ever on a worker whose thread never started or has ended.
TEST(QueueThreadIdle, WaitUntilIdleReturnsWhenTheThreadIsNotRunning) {
  RegisterAllMessages();
  CSlowWorker never;
  EXPECT_TRUE(never.WaitUntilIdle(0)) << "nothing queued: idle";
  never.QueuePacket(std::make_unique<CBkgPacket>(PKT_READ, nullptr, 1, 0));
  EXPECT_FALSE(never.WaitUntilIdle(0)) << "a packet that no thread will take";

  CSlowWorker ended;
  ASSERT_TRUE(ended.Start());
  ended.StopThread();
  ended.QueuePacket(std::make_unique<CBkgPacket>(PKT_READ, nullptr, 1, 0));
  EXPECT_FALSE(ended.WaitUntilIdle(0));
  EXPECT_EQ(ended.processed.load(), 0);
}

}  // namespace
