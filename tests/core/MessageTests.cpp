// Registered messages and the headless message target.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "core/MessageQueue.h"
#include "core/RegisteredMessages.h"

namespace {

struct CCountedPayload final : CMessagePayload {
  explicit CCountedPayload(std::atomic<int>& live) : m_live(live) { ++m_live; }
  ~CCountedPayload() override { --m_live; }
  std::atomic<int>& m_live;
};

TEST(RegisteredMessages, AllThirtyNineGetConsecutiveIdsInListedOrderOnce) {
  RegisterAllMessages();
  RegisterAllMessages();
  EXPECT_EQ(RegMsgSDR::nMsgAddTag, 0xC000u);
  EXPECT_EQ(RegMsgSDR::nMsgFFTOutput, 0xC000u + 11);
  EXPECT_EQ(RegMsgSDR::nMsgSendLogfile, 0xC000u + 21);
  EXPECT_EQ(DigitalMain::nMsgWndSelect, 0xC000u + 38);
  EXPECT_EQ(RegisteredMessageName(RegMsgSDR::nMsgThreadStatus), "RegMsgSDR::nMsgThreadStatus");
  EXPECT_EQ(RegisterWindowMessage("DigitalMain::nMsgFeedback1_2"), DigitalMain::nMsgFeedback1_2);
  EXPECT_EQ(RegisterWindowMessage("Some::Other"), 0xC000u + 39);
}

TEST(MessageQueue, PayloadsNobodyTakesAreFreed) {
  // Catches leaks of payloads left in a queue at shutdown or posted to a closed target.
  std::atomic<int> live{0};
  {
    CMessageQueue q;
    q.Post(1, 0, 0, std::make_unique<CCountedPayload>(live));
    q.Post(2, 0, 0, std::make_unique<CCountedPayload>(live));
    EXPECT_EQ(live.load(), 2);
    auto m = q.TryGet();
    ASSERT_TRUE(m);
    auto taken = m->TakePayload<CCountedPayload>();
    EXPECT_TRUE(taken);
    EXPECT_EQ(live.load(), 2);  // one queued, one held by the handler
    q.Close();
    EXPECT_EQ(live.load(), 1);
    EXPECT_FALSE(q.Post(3, 0, 0, std::make_unique<CCountedPayload>(live)));
    EXPECT_EQ(live.load(), 1);
  }
  EXPECT_EQ(live.load(), 0);
}

TEST(MessageQueue, TakingAPayloadOfTheWrongTypeLeavesItWithTheMessage) {
  std::atomic<int> live{0};
  {
    CMessage m{5, 0, 0, std::make_unique<CCountedPayload>(live)};
    EXPECT_FALSE(m.TakePayload<CValuePayload<std::string>>());
    EXPECT_EQ(live.load(), 1);
  }
  EXPECT_EQ(live.load(), 0);
}

TEST(MessageQueue, MessagesFromManyThreadsAllArriveInPerThreadOrder) {
  CMessageQueue q;
  constexpr int kThreads = 4, kEach = 2000;
  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t)
    posters.emplace_back([&q, t] {
      for (int i = 0; i < kEach; ++i) q.Post(static_cast<unsigned>(t), 0, i);
    });
  std::vector<int> next(kThreads, 0);
  int received = 0;
  while (received < kThreads * kEach) {
    auto m = q.Wait(std::chrono::seconds(5));
    ASSERT_TRUE(m);
    EXPECT_EQ(m->lParam, next[m->nMsg]++);
    ++received;
  }
  for (auto& p : posters) p.join();
}

}  // namespace
