#pragma once

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace TestSupport {

// Root reads and writes any file whatever its mode bits, because of two capabilities. Giving
// them up on this thread (and the threads it starts) for the guard's life makes the mode bits
// count again, as they do for every user. Not active when the process may not change them.
class WithoutFileAccessOverride {
public:
    WithoutFileAccessOverride()
    {
        if (::syscall(SYS_capget, &m_header, m_saved) != 0)
            return;
        __user_cap_data_struct reduced[2] = { m_saved[0], m_saved[1] };
        reduced[0].effective &= ~((1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH));
        m_active = ::syscall(SYS_capset, &m_header, reduced) == 0;
    }
    ~WithoutFileAccessOverride()
    {
        if (m_active)
            ::syscall(SYS_capset, &m_header, m_saved);
    }
    WithoutFileAccessOverride(const WithoutFileAccessOverride &) = delete;
    WithoutFileAccessOverride &operator=(const WithoutFileAccessOverride &) = delete;

    // Whether mode bits bind this thread: true for any user but root, for root while active.
    bool modeBitsBind() const { return m_active || ::geteuid() != 0; }

private:
    __user_cap_header_struct m_header { _LINUX_CAPABILITY_VERSION_3, 0 };
    __user_cap_data_struct m_saved[2] = {};
    bool m_active = false;
};

} // namespace TestSupport
