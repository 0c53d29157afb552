/// @file
/// What goes to standard error, write by write.
///
/// Protection: for the test's own thread. Other threads may write to standard error while it lives.
#ifndef STANDARD_ERROR_TAP_HPP
#define STANDARD_ERROR_TAP_HPP

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <string>
#include <vector>

#include "dds_c/dds_c_log.h"

using Writes = std::vector<std::string>;

/// Standard error as a row of writes for a scope: each write arrives as one packet. Everything that is printed before
/// `writes` has to fit into the socket's buffer, some hundred kilobytes. All levels are printed meanwhile.
class StandardErrorTap {
public:
    StandardErrorTap()
    {
        DDSLog_g_instrumentationMask = UINT32_MAX;
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET, 0, _ends));
        _saved = dup(2);
        dup2(_ends[1], 2);
    }
    ~StandardErrorTap()
    {
        dup2(_saved, 2);
        for (const int file : {_saved, _ends[0], _ends[1]}) close(file);
        DDSLog_g_instrumentationMask = ZYL_LOG_LEVEL_PRECONDITION | ZYL_LOG_LEVEL_WARNING;
    }
    StandardErrorTap(const StandardErrorTap &) = delete;
    StandardErrorTap &operator=(const StandardErrorTap &) = delete;

    /// The writes since the last call.
    Writes writes()
    {
        Writes all;
        std::vector<char> packet(std::size_t{1} << 20);
        for (;;) {
            const ssize_t size = recv(_ends[0], packet.data(), packet.size(), MSG_DONTWAIT);
            if (size < 0) return all;
            all.emplace_back(packet.data(), static_cast<std::size_t>(size));
        }
    }

private:
    int _ends[2] = {-1, -1};
    int _saved = -1;
};

#endif
