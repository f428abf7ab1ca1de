/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#define _GNU_SOURCE
#include "invocation.h"

#include "deadline.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

/* The tool's own output is a few lines; a stand-in that floods is cut here. */
enum { OUTPUT_LIMIT = 1 << 20, READ_CHUNK = 4096 };
/* How often a child whose streams are closed, or are held by another process,
   is looked at. */
enum { REAP_LOOK_MS = 2, ALIVE_LOOK_MS = 100 };

/* sudo keeps LC_ALL, so its refusals come in the English the outcome is read from. */
static char *const environment[] = {"LC_ALL=C", "PATH=/usr/sbin:/usr/bin:/sbin:/bin", NULL};

static void close_pair(int fds[2])
{
    for (int end = 0; end < 2; ++end) {
        if (fds[end] >= 0) {
            (void)close(fds[end]);
            fds[end] = -1;
        }
    }
}

/* A close-on-exec pipe whose ends are above the standard streams, so that the
   child's dup2 onto 1 and 2 always makes a new descriptor without that flag. */
static int open_pipe(int fds[2])
{
    if (pipe2(fds, O_CLOEXEC) != 0) {
        fds[0] = fds[1] = -1;
        return -errno;
    }
    for (int end = 0; end < 2; ++end) {
        if (fds[end] <= STDERR_FILENO) {
            const int moved = fcntl(fds[end], F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
            const int error = errno;
            (void)close(fds[end]);
            fds[end] = moved;
            if (moved < 0) {
                close_pair(fds);
                return -error;
            }
        }
    }
    return 0;
}

/* A new session without a controlling terminal, so that sudo starts the tool
   without a monitor process that would kill it when sudo dies; every signal
   back at its default and none blocked, and no descriptor but the three
   streams, whatever the front-end set or opened. */
static int spawn(char *const argv[], int out, int err, pid_t *pid)
{
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    sigset_t none;
    sigset_t all;
    int error = posix_spawnattr_init(&attributes);
    if (error) {
        return error;
    }
    error = posix_spawn_file_actions_init(&actions);
    if (error) {
        (void)posix_spawnattr_destroy(&attributes);
        return error;
    }
    (void)sigemptyset(&none);
    (void)sigfillset(&all);
    if (!(error = posix_spawnattr_setflags(&attributes,
                                           POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF)) &&
        !(error = posix_spawnattr_setsigmask(&attributes, &none)) &&
        !(error = posix_spawnattr_setsigdefault(&attributes, &all)) &&
        !(error = posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0)) &&
        !(error = posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO)) &&
        !(error = posix_spawn_file_actions_adddup2(&actions, err, STDERR_FILENO)) &&
        !(error = posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1))) {
        error = posix_spawn(pid, argv[0], &actions, &attributes, argv, environment);
    }
    (void)posix_spawn_file_actions_destroy(&actions);
    (void)posix_spawnattr_destroy(&attributes);
    return error;
}

struct stream {
    int fd;
    struct text *sink;
};

/* One read of a stream that poll found ready; end of file or a failed read closes it. */
static int read_stream(struct stream *stream)
{
    char chunk[READ_CHUNK];
    const ssize_t count = read(stream->fd, chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) {
        return 0;
    }
    if (count <= 0) {
        (void)close(stream->fd);
        stream->fd = -1;
        return 0;
    }
    if (stream->sink->length + (size_t)count > OUTPUT_LIMIT) {
        return 0;
    }
    return text_append(stream->sink, chunk, (size_t)count);
}

static void reap(pid_t pid, struct invocation *run)
{
    while (waitpid(pid, &run->wait_status, 0) < 0 && errno == EINTR) {
    }
    run->ended = true;
}

/* Sends the SIGTERM once the deadline is due, and the SIGKILL once the grace
   after it is; true when the child was killed and reaped. */
static bool stop_when_due(pid_t pid, long long now, long grace_ms, long long *due_ms, struct invocation *run)
{
    if (run->ended || now < *due_ms) {
        return false;
    }
    if (run->stopped) {
        (void)kill(pid, SIGKILL);
        reap(pid, run);
        return true;
    }
    (void)kill(pid, SIGTERM);
    run->stopped = true;
    *due_ms = now + grace_ms;
    return false;
}

/* Waits up to `wait_ms` for output or for `cancel_fd` and reads what came;
   true when the cancel descriptor became readable. */
static bool poll_streams(struct stream streams[2], int cancel_fd, long long wait_ms, int *error)
{
    struct pollfd polls[3] = {
        {streams[0].fd, POLLIN, 0},
        {streams[1].fd, POLLIN, 0},
        {cancel_fd, POLLIN, 0},
    };
    if (poll(polls, 3, wait_ms > 0 ? (int)wait_ms : 0) < 0) {
        return false;
    }
    for (int i = 0; i < 2; ++i) {
        if (polls[i].revents && read_stream(&streams[i]) != 0) {
            /* What did not fit is lost; the command itself runs on untouched. */
            *error = -ENOMEM;
        }
    }
    return polls[2].revents != 0;
}

static int collect(pid_t pid, struct stream streams[2], long long deadline_ms, long grace_ms, int cancel_fd,
                   struct invocation *run)
{
    int error = 0;
    /* When the next step is due: the SIGTERM, once it is sent the SIGKILL. */
    long long due_ms = deadline_ms;
    for (;;) {
        const long long now = now_ms();
        if (!run->ended && waitpid(pid, &run->wait_status, WNOHANG) == pid) {
            run->ended = true;
        }
        const bool open = streams[0].fd >= 0 || streams[1].fd >= 0;
        /* The tool may outlive a killed sudo and hold the streams: they are
           waited for no longer than the call. */
        if ((run->ended && (!open || now >= due_ms)) || stop_when_due(pid, now, grace_ms, &due_ms, run)) {
            return error;
        }
        const long long look = run->ended || !open ? REAP_LOOK_MS : ALIVE_LOOK_MS;
        if (poll_streams(streams, run->stopped ? -1 : cancel_fd, due_ms - now < look ? due_ms - now : look, &error)) {
            due_ms = now;
        }
    }
}

int invoke(char *const argv[], long long deadline_ms, long grace_ms, int cancel_fd, struct invocation *run)
{
    int out[2];
    int err[2] = {-1, -1};
    int error = open_pipe(out);
    if (error || (error = open_pipe(err))) {
        close_pair(out);
        return error;
    }
    pid_t pid;
    run->spawn_error = spawn(argv, out[1], err[1], &pid);
    (void)close(out[1]);
    (void)close(err[1]);
    struct stream streams[2] = {{out[0], &run->out}, {err[0], &run->err}};
    if (!run->spawn_error) {
        error = collect(pid, streams, deadline_ms, grace_ms, cancel_fd, run);
    }
    for (int i = 0; i < 2; ++i) {
        if (streams[i].fd >= 0) {
            (void)close(streams[i].fd);
        }
    }
    return error;
}

void invocation_release(struct invocation *run)
{
    free(run->out.data);
    free(run->err.data);
}
