// SPDX-License-Identifier: MIT
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

// Owns one Core Foundation reference (a Create or Copy result) and releases it.
template <typename T> class CFRef {
public:
    CFRef() = default;
    explicit CFRef(T ref) : m_ref(ref) {}
    CFRef(CFRef&& other) noexcept : m_ref(std::exchange(other.m_ref, nullptr)) {}
    CFRef& operator=(CFRef&& other) noexcept {
        reset(std::exchange(other.m_ref, nullptr));
        return *this;
    }
    CFRef(const CFRef&) = delete;
    CFRef& operator=(const CFRef&) = delete;
    ~CFRef() { reset(); }

    T get() const { return m_ref; }
    explicit operator bool() const { return m_ref != nullptr; }
    void reset(T ref = nullptr) {
        if (m_ref)
            CFRelease(m_ref);
        m_ref = ref;
    }

private:
    T m_ref = nullptr;
};
