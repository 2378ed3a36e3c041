// Switches for the system and library calls that wrapped test programs replace (see
// zv_add_wrapped_test): each replacement asks its switch before it passes the call on, and fails
// the call when the switch says so. The state is atomic, so that the compiler keeps every store
// to it around the calls it replaces.
#ifndef ZV_TEST_CALL_FAULT_H
#define ZV_TEST_CALL_FAULT_H

#include <atomic>

namespace zvtest {

class CallFault {
public:
    // Fails the nth next call (1: the very next one), and with every also each call after it.
    void Fail(int nth = 1, bool every = false) {
        m_every = every;
        m_calls = 0;
        m_left = nth;
    }
    // Passes every call on again.
    void Off() {
        m_left = 0;
        m_every = false;
    }
    // Counts a call; true when this one is to fail.
    bool Hit() {
        ++m_calls;
        int left = m_left.load();
        if (left <= 0) {
            return false;
        }
        if (left == 1) {
            m_left = m_every ? 1 : 0;
            return true;
        }
        m_left = left - 1;
        return false;
    }
    // Calls seen since the last Fail().
    int Calls() const { return m_calls.load(); }

private:
    std::atomic<int> m_left{0};
    std::atomic<bool> m_every{false};
    std::atomic<int> m_calls{0};
};

// Turns a switch off when the scope ends, so that a failed assertion cannot leave it on.
class FaultScope {
public:
    explicit FaultScope(CallFault& fault) : m_fault(fault) {}
    ~FaultScope() { m_fault.Off(); }
    FaultScope(const FaultScope&) = delete;
    FaultScope& operator=(const FaultScope&) = delete;

private:
    CallFault& m_fault;
};

}  // namespace zvtest

#endif  // ZV_TEST_CALL_FAULT_H
