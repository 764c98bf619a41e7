// The viewer's small parts on their own: message buffers, the hub, the
// --listen option and output names.
#include <gtest/gtest.h>

#include <thread>

#include "frame_hub.h"
#include "frame_message.h"
#include "listen_address.h"
#include "message_pool.h"
#include "output_names.h"
#include "sarvik/SarvikTypes.h"

namespace sarvik_viewer {
namespace {

TEST(MessagePool, ReusesFreedBuffersAndRefusesBeyondItsCapacity) {
  MessagePool pool(2);
  MessageRef a = pool.acquire(100);
  MessageRef b = pool.acquire(200);
  ASSERT_TRUE(a);
  ASSERT_TRUE(b);
  EXPECT_FALSE(pool.acquire(10));  // both held
  const uint8_t* first = a.bytes().data();
  a = MessageRef();
  MessageRef c = pool.acquire(50);
  ASSERT_TRUE(c);
  EXPECT_EQ(c.bytes().data(), first);  // the same buffer, no new allocation
  EXPECT_EQ(c.bytes().size(), 50u);
  EXPECT_EQ(pool.allocated(), 2u);
}

TEST(FrameHub, NewestWinsAndEachWaiterSeesOnlyWhatItAskedFor) {
  MessagePool pool(8);
  FrameHub hub;
  for (int i = 0; i < 3; ++i) {
    MessageRef m = pool.acquire(1);
    m.mutableBytes()[0] = static_cast<uint8_t>(i);
    hub.publish(SARVIK_STREAM_DEPTH, m);
  }
  FrameHub::Versions seen{};
  std::vector<MessageRef> out;
  ASSERT_TRUE(hub.waitNewer(1u << hubSlot(SARVIK_STREAM_DEPTH), &seen, &out, 10));
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].bytes()[0], 2);
  out.clear();
  // Nothing new: the wait ends empty at its timeout.
  ASSERT_TRUE(hub.waitNewer(1u << hubSlot(SARVIK_STREAM_DEPTH), &seen, &out, 10));
  EXPECT_TRUE(out.empty());
  // Colour is not asked for, so its message does not wake this waiter.
  hub.publish(SARVIK_STREAM_COLOR, pool.acquire(1));
  ASSERT_TRUE(hub.waitNewer(1u << hubSlot(SARVIK_STREAM_DEPTH), &seen, &out, 10));
  EXPECT_TRUE(out.empty());
  hub.publish(0x999, pool.acquire(1));  // not a kind: ignored
  hub.clear(SARVIK_STREAM_DEPTH);
  hub.clear(SARVIK_STREAM_COLOR);
}

TEST(FrameHub, CloseWakesAWaiterAtOnce) {
  FrameHub hub;
  std::thread closer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    hub.close();
  });
  FrameHub::Versions seen{};
  std::vector<MessageRef> out;
  EXPECT_FALSE(hub.waitNewer(0x1f, &seen, &out, 60000));
  closer.join();
}

TEST(FrameHub, PublishersAndWaitersOnManyThreads) {
  FrameHub hub;
  std::atomic<bool> running{true};
  std::vector<std::thread> threads;
  for (uint32_t kind : {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH}) {
    threads.emplace_back([&, kind] {
      MessagePool pool(4);
      for (int i = 0; i < 2000; ++i) {
        MessageRef m = pool.acquire(64);
        if (m) {
          m.mutableBytes()[0] = static_cast<uint8_t>(i);
          hub.publish(kind, std::move(m));
        }
      }
      hub.clear(kind);  // the pool goes with this thread
    });
  }
  for (int w = 0; w < 3; ++w) {
    threads.emplace_back([&] {
      FrameHub::Versions seen{};
      while (running.load()) {
        std::vector<MessageRef> out;
        hub.waitNewer(0x3, &seen, &out, 5);
        for (const MessageRef& m : out) EXPECT_EQ(m.bytes().size(), 64u);
      }
    });
  }
  threads[0].join();
  threads[1].join();
  running = false;
  for (size_t i = 2; i < threads.size(); ++i) threads[i].join();
}

TEST(ListenAddress, ReadsHostAndPortForms) {
  std::string host, error;
  int port = 0;
  ASSERT_TRUE(parseListenAddress("127.0.0.1:8080", &host, &port, &error));
  EXPECT_EQ(host, "127.0.0.1");
  EXPECT_EQ(port, 8080);
  ASSERT_TRUE(parseListenAddress("9000", &host, &port, &error));
  EXPECT_EQ(host, "127.0.0.1");
  EXPECT_EQ(port, 9000);
  ASSERT_TRUE(parseListenAddress(":0", &host, &port, &error));
  EXPECT_EQ(port, 0);
  ASSERT_TRUE(parseListenAddress("0.0.0.0:80", &host, &port, &error));
  EXPECT_EQ(host, "0.0.0.0");
  ASSERT_TRUE(parseListenAddress("[::1]:8080", &host, &port, &error));
  EXPECT_EQ(host, "::1");
  for (const char* bad : {"", "host:", "host:65536", "host:-1", "host:http", "::1:80", "1:2:3", "99999999999"}) {
    EXPECT_FALSE(parseListenAddress(bad, &host, &port, &error)) << bad;
    EXPECT_FALSE(error.empty());
  }
  EXPECT_TRUE(isLoopbackHost("127.0.0.1"));
  EXPECT_TRUE(isLoopbackHost("::1"));
  EXPECT_FALSE(isLoopbackHost("0.0.0.0"));
}

TEST(OutputNames, OnlyPlainFileNamesPass) {
  EXPECT_TRUE(isSafeFileName("take-1_a.rec"));
  for (const char* bad : {"", ".", "..", "../x", "a/b", "a b", ".rc", "a\\b", "na\xc3\xafve"}) {
    EXPECT_FALSE(isSafeFileName(bad)) << bad;
  }
  EXPECT_FALSE(isSafeFileName(std::string(101, 'a')));
  EXPECT_EQ(timeStampedName().rfind("sarvik-", 0), 0u);
  EXPECT_EQ(timeStampedName().size(), std::string("sarvik-20260101-120000").size());
}

TEST(FrameMessage, HeaderStartsWithItsMagicAndSize) {
  const FrameMessageHeader header = makeHeader(kKindCloud, 12);
  EXPECT_EQ(std::string(header.magic, 4), "SVF1");
  EXPECT_EQ(header.headerBytes, 48u);
  EXPECT_EQ(header.payloadBytes, 12u);
  EXPECT_EQ(header.kind, kKindCloud);
  EXPECT_EQ(header.sequence, 0u);
}

}  // namespace
}  // namespace sarvik_viewer
