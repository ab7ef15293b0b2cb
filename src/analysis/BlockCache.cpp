#include "analysis/BlockCache.h"

#include <algorithm>

CBlockCache::CState::~CState() {
  for (auto& [nSize, p] : kept) delete[] p;
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
  delete[] p;
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
  return CBlock(new std::uint8_t[nSize], CReturn{m_pState, nSize});
}

CBlockCache::CBlock CBlockCache::Allocate(std::size_t nSize) {
  return CBlock(new std::uint8_t[nSize], CReturn{nullptr, nSize});
}

void CBlockCache::Trim() {
  std::vector<std::pair<std::size_t, std::uint8_t*>> kept;
  {
    std::lock_guard lock(m_pState->mutex);
    kept.swap(m_pState->kept);
  }
  for (auto& [nSize, p] : kept) delete[] p;
}

std::size_t CBlockCache::KeptBlocks() const {
  std::lock_guard lock(m_pState->mutex);
  return m_pState->kept.size();
}
