// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <streambuf>

namespace zel {

// Standard output and standard error straight onto descriptors 1 and 2. The
// tool is started for every user action, and <iostream> would set up eight
// stream objects and ask the kernel about descriptor 1 (fstat, ioctl) before
// the first byte is written; this costs neither. Like std::cerr, a buffer
// without space writes each insertion at once, so a diagnostic line leaves in
// one write. Write errors are ignored, as they would be with std::cout, and
// once a stop signal has arrived only what the stream takes at once is
// written.
class DescriptorBuffer final : public std::streambuf {
public:
    DescriptorBuffer(int fd, char* space, std::size_t size);
    DescriptorBuffer(const DescriptorBuffer&) = delete;
    DescriptorBuffer& operator=(const DescriptorBuffer&) = delete;
    ~DescriptorBuffer() override;

protected:
    int overflow(int c) override;
    std::streamsize xsputn(const char* data, std::streamsize size) override;
    int sync() override;

private:
    void flush();
    void writeIgnoringErrors(const char* data, std::size_t size) const;

    int fd_;
};

} // namespace zel
