#include "logging/last_error.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "logging/error_codes.h"

namespace sarvik {
namespace {

class LastErrorStore : public ::testing::Test {
 protected:
  void SetUp() override {
    releaseLastErrorCells();
    m_shared = lastErrorCell();  // without a key every thread gets the shared cell
    armLastErrorStore();
  }
  void TearDown() override {
    releaseLastErrorCells();
    armLastErrorStore();
  }

  // Runs `count` threads one after the other; each takes its cell, notes
  // what the cell held and writes `firstCode + i` into it.
  void cellsOfSequentialThreads(size_t count, uint32_t firstCode) {
    for (size_t i = 0; i < count; ++i) {
      std::thread([&, i] {
        uint32_t* cell = lastErrorCell();
        m_cells.push_back(cell);
        m_initialValues.push_back(*cell);
        *cell = firstCode + static_cast<uint32_t>(i);
      }).join();
    }
  }

  uint32_t* m_shared = nullptr;
  std::vector<uint32_t*> m_cells;
  std::vector<uint32_t> m_initialValues;
};

TEST_F(LastErrorStore, TheFirst63ThreadsOwnZeroedCellsAndAllLaterOnesShareOne) {
  cellsOfSequentialThreads(70, 1000);

  std::set<uint32_t*> own(m_cells.begin(), m_cells.begin() + 63);
  EXPECT_EQ(own.size(), 63u);
  EXPECT_EQ(own.count(m_shared), 0u);
  for (size_t i = 0; i < 63; ++i) {
    EXPECT_EQ(m_initialValues[i], 0u) << "thread " << i;
    EXPECT_EQ(*m_cells[i], 1000u + i) << "a later thread overwrote the cell of thread " << i;
  }
  for (size_t i = 63; i < 70; ++i) EXPECT_EQ(m_cells[i], m_shared) << "thread " << i;
  EXPECT_EQ(*m_shared, 1069u);
  // The limit holds for a thread that has not asked before, the test's own.
  EXPECT_EQ(lastErrorCell(), m_shared);
}

TEST_F(LastErrorStore, ReleaseFreesTheOwnCellsAndCountingStartsAgainAfterRearming) {
  cellsOfSequentialThreads(64, 1);

  EXPECT_EQ(releaseLastErrorCells(), 0);
  EXPECT_EQ(releaseLastErrorCells(), 0);  // a second release finds nothing
  EXPECT_EQ(lastErrorCell(), m_shared);
  setLastErrorCode(kErrBadArgument);      // the shared cell outlives every release
  EXPECT_EQ(*m_shared, kErrBadArgument);

  armLastErrorStore();
  m_cells.clear();
  m_initialValues.clear();
  cellsOfSequentialThreads(63, 1);
  std::set<uint32_t*> own(m_cells.begin(), m_cells.end());
  EXPECT_EQ(own.size(), 63u);
  EXPECT_EQ(own.count(m_shared), 0u);
  EXPECT_TRUE(std::all_of(m_initialValues.begin(), m_initialValues.end(), [](uint32_t v) { return v == 0; }));
}

TEST_F(LastErrorStore, AThreadKeepsItsCellAndOtherThreadsLeaveItAlone) {
  setLastErrorCode(kErrNotInitialized);
  uint32_t* mine = lastErrorCell();
  std::thread([] { setLastErrorCode(kErrInvalidStream); }).join();

  EXPECT_EQ(lastErrorCell(), mine);
  EXPECT_EQ(*mine, kErrNotInitialized);
  armLastErrorStore();  // re-arming an armed store must not orphan the cell
  EXPECT_EQ(lastErrorCell(), mine);
  EXPECT_EQ(*mine, kErrNotInitialized);
}

TEST_F(LastErrorStore, ThreadsAskingAtOnceGetDistinctCells) {
  constexpr size_t kThreads = 40;
  std::atomic<bool> go{false};
  std::atomic<size_t> written{0};
  std::vector<uint32_t*> cells(kThreads, nullptr);
  std::vector<int> intact(kThreads, 0);  // not vector<bool>: its bits share words

  std::vector<std::thread> threads;
  for (size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      while (!go) std::this_thread::yield();
      const uint32_t code = 0x80300000u + static_cast<uint32_t>(i);
      setLastErrorCode(code);
      // Hold every thread until all have written, so that no cell is
      // checked before a colliding writer could have struck.
      ++written;
      while (written < kThreads) std::this_thread::yield();
      cells[i] = lastErrorCell();
      intact[i] = *cells[i] == code ? 1 : 0;
    });
  }
  go = true;
  for (std::thread& t : threads) t.join();

  EXPECT_EQ(std::set<uint32_t*>(cells.begin(), cells.end()).size(), kThreads);
  EXPECT_EQ(std::count(intact.begin(), intact.end(), 1), static_cast<long>(kThreads));
}

}  // namespace
}  // namespace sarvik
