#include "analysis/BlockCache.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

// Blocks from this size on are placed on 2 MiB boundaries and asked to be backed by huge
// pages: first touch then costs one fault per 2 MiB instead of one per 4 KiB, which on a
// run's hundreds of megabytes of fresh blocks was most of its system time.
constexpr std::size_t kHugePage = 2u << 20;

std::uint8_t* AllocateBytes(std::size_t nSize) {
  if (nSize < kHugePage) return static_cast<std::uint8_t*>(::operator new[](nSize));
  const std::size_t nRounded = (nSize + kHugePage - 1) / kHugePage * kHugePage;
  void* p = nullptr;
  if (posix_memalign(&p, kHugePage, nRounded) != 0) throw std::bad_alloc();
  madvise(p, nRounded, MADV_HUGEPAGE);
  return static_cast<std::uint8_t*>(p);
}

void FreeBytes(std::uint8_t* p, std::size_t nSize) {
  if (nSize < kHugePage)
    ::operator delete[](p);
  else
    std::free(p);
}

}  // namespace

CBlockCache::CState::~CState() {
  for (auto& [nSize, p] : kept) FreeBytes(p, nSize);
}

void CBlockCache::CReturn::operator()(std::uint8_t* p) const {
  if (!p) return;
  if (pState) {
    std::lock_guard lock(pState->mutex);
    if (pState->kept.size() < pState->nMaxBlocks) {
      pState->kept.emplace_back(nSize, p);
      return;
    }
  }
  FreeBytes(p, nSize);
}

CBlockCache::CBlockCache(std::size_t nMaxBlocks) : m_pState(std::make_shared<CState>()) {
  m_pState->nMaxBlocks = nMaxBlocks;
}

CBlockCache::CBlock CBlockCache::Take(std::size_t nSize) {
  {
    std::lock_guard lock(m_pState->mutex);
    auto& kept = m_pState->kept;
    auto it = std::find_if(kept.begin(), kept.end(), [nSize](const auto& k) { return k.first == nSize; });
    if (it != kept.end()) {
      std::uint8_t* p = it->second;
      kept.erase(it);
      return CBlock(p, CReturn{m_pState, nSize});
    }
  }
  return CBlock(AllocateBytes(nSize), CReturn{m_pState, nSize});
}

CBlockCache::CBlock CBlockCache::Allocate(std::size_t nSize) {
  return CBlock(AllocateBytes(nSize), CReturn{nullptr, nSize});
}

void CBlockCache::Trim() {
  std::vector<std::pair<std::size_t, std::uint8_t*>> kept;
  {
    std::lock_guard lock(m_pState->mutex);
    kept.swap(m_pState->kept);
  }
  for (auto& [nSize, p] : kept) FreeBytes(p, nSize);
}

std::size_t CBlockCache::KeptBlocks() const {
  std::lock_guard lock(m_pState->mutex);
  return m_pState->kept.size();
}
