#pragma once
// CBlockCache: keeps the large byte blocks of a run (file I/O buffer data, sample blocks)
// for reuse instead of giving them back to the system.
//
// Every read and every sample block takes a block of tens of megabytes. Fresh from the
// system, each one costs a page fault per 4 KiB on first touch, about as much work as
// copying the bytes twice; a freed block that is taken again costs nothing. A block goes
// back to its cache when its owner frees it, on whatever thread that happens and even
// after the cache's owner has gone. Trim() hands everything kept back to the system.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

class CBlockCache {
  struct CState;

 public:
  // Frees a block into its cache (or to the system when the cache is full or gone).
  struct CReturn {
    std::shared_ptr<CState> pState;
    std::size_t nSize = 0;
    void operator()(std::uint8_t* p) const;
  };
  using CBlock = std::unique_ptr<std::uint8_t[], CReturn>;

  // Keeps at most nMaxBlocks free blocks.
  explicit CBlockCache(std::size_t nMaxBlocks = 16);

  // A block of nSize bytes, uninitialised: a kept one of that size, else a new one.
  CBlock Take(std::size_t nSize);
  // A block of nSize bytes that returns to no cache (no cache given).
  static CBlock Allocate(std::size_t nSize);
  void Trim();
  std::size_t KeptBlocks() const;

 private:
  struct CState {
    std::mutex mutex;
    std::size_t nMaxBlocks = 0;
    std::vector<std::pair<std::size_t, std::uint8_t*>> kept;
    ~CState();
  };
  std::shared_ptr<CState> m_pState;
};

using CBlock = CBlockCache::CBlock;
