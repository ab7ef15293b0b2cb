#pragma once
// A fixed-size, zero-initialised array in FFTW's aligned storage (fftw_malloc), so that
// FFT plans and vector loops get SIMD-aligned buffers. Move-only: the stages that own
// these buffers are stateful and must never be copied by accident.
//
// Only for trivially copyable element types (float, double, std::complex of either).

#include <fftw3.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

template <class T>
class CAlignedVector
{
    static_assert(std::is_trivially_copyable_v<T>, "CAlignedVector holds plain values only");

public:
    CAlignedVector() = default;
    explicit CAlignedVector(std::size_t count) { Resize(count); }
    ~CAlignedVector() { Release(); }

    CAlignedVector(const CAlignedVector&) = delete;
    CAlignedVector& operator=(const CAlignedVector&) = delete;
    CAlignedVector(CAlignedVector&& other) noexcept
        : m_pData(std::exchange(other.m_pData, nullptr)), m_nSize(std::exchange(other.m_nSize, 0))
    {
    }
    CAlignedVector& operator=(CAlignedVector&& other) noexcept
    {
        if (this != &other) {
            Release();
            m_pData = std::exchange(other.m_pData, nullptr);
            m_nSize = std::exchange(other.m_nSize, 0);
        }
        return *this;
    }

    // Reallocates to count elements, all zero (the old contents are not kept).
    void Resize(std::size_t count)
    {
        Release();
        if (count == 0)
            return;
        m_pData = static_cast<T*>(fftw_malloc(count * sizeof(T)));
        m_nSize = m_pData ? count : 0;
        Zero();
    }
    void Zero()
    {
        if (m_pData)
            std::memset(static_cast<void*>(m_pData), 0, m_nSize * sizeof(T));
    }

    T* data() { return m_pData; }
    const T* data() const { return m_pData; }
    std::size_t size() const { return m_nSize; }
    bool empty() const { return m_nSize == 0; }
    T& operator[](std::size_t i) { return m_pData[i]; }
    const T& operator[](std::size_t i) const { return m_pData[i]; }
    T* begin() { return m_pData; }
    T* end() { return m_pData + m_nSize; }
    const T* begin() const { return m_pData; }
    const T* end() const { return m_pData + m_nSize; }

private:
    void Release()
    {
        if (m_pData)
            fftw_free(m_pData);
        m_pData = nullptr;
        m_nSize = 0;
    }

    T* m_pData = nullptr;
    std::size_t m_nSize = 0;
};
