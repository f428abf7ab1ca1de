// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "app/descriptor_buffer.hpp"

#include "base/posix_io.hpp"
#include "base/stop_record.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>

#include <poll.h>
#include <unistd.h>

namespace zel {
namespace {

// A pipe that polls writable takes PIPE_BUF bytes without blocking; one that
// polls an error or a hang-up fails a write at once.
bool writableAtOnce(int fd)
{
    pollfd stream{fd, POLLOUT, 0};
    return ::poll(&stream, 1, 0) == 1;
}

} // namespace

DescriptorBuffer::DescriptorBuffer(int fd, char* space, std::size_t size) : fd_(fd) { setp(space, space + size); }

DescriptorBuffer::~DescriptorBuffer() { flush(); }

int DescriptorBuffer::overflow(int c)
{
    flush();
    if (c != traits_type::eof()) {
        const char byte = traits_type::to_char_type(c);
        if (pbase() == epptr()) {
            writeIgnoringErrors(&byte, 1);
        } else {
            ignoreResult(sputc(byte));
        }
    }
    return traits_type::not_eof(c);
}

std::streamsize DescriptorBuffer::xsputn(const char* data, std::streamsize size)
{
    if (size > epptr() - pptr()) {
        flush();
        if (size > epptr() - pptr()) {
            writeIgnoringErrors(data, static_cast<std::size_t>(size));
            return size;
        }
    }
    return std::streambuf::xsputn(data, size);
}

int DescriptorBuffer::sync()
{
    flush();
    return 0;
}

void DescriptorBuffer::flush()
{
    writeIgnoringErrors(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    setp(pbase(), epptr());
}

void DescriptorBuffer::writeIgnoringErrors(const char* data, std::size_t size) const
{
    while (size > 0) {
        // Once a stop has been requested, the caller may be gone with its
        // reading end still open somewhere: write only what the stream takes
        // at once, so that a root process never waits for a reader.
        const bool stopping = stopRequested();
        if (stopping && !writableAtOnce(fd_)) {
            return;
        }
        const ssize_t count = ::write(fd_, data, stopping ? std::min<std::size_t>(size, PIPE_BUF) : size);
        if (count > 0) {
            data += count;
            size -= static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            return;
        }
    }
}

} // namespace zel
