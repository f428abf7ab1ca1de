/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
/*
 * stand_in DIR -c GROUP...: plays the tool behind sudo for the client's tests.
 * It appends its groups, joined by "|", to DIR/calls, what it was started with
 * to DIR/start, every signal it gets to DIR/signals, and each group it runs to
 * DIR/ran. DIR/play says what a command id does instead of running at once,
 * one line each, "ID ACTION [NUMBER [TEXT]]":
 *   lock N [MS]     the first N runs fail with the settings store's lock refusal,
 *                   each after the first once it has waited MS, which a stop
 *                   signal ends before the group runs
 *   fail            fails with a one-line diagnostic
 *   pulse MS        "ID on", a wait that a stop signal ends early, "ID off"
 *   hang            ignores SIGTERM and waits a minute (a client that never
 *                   kills it leaves it no longer), its streams handed to a
 *                   child of its own that outlives it
 *   exit N TEXT     writes TEXT ("\n": line feed) to standard error, exits N
 *   die N TEXT      writes TEXT to standard error, ends by signal N
 *   print TEXT      writes TEXT to standard output and runs
 * A stop signal (TERM, INT, HUP) ends the batch after the running group with
 * the tool's stop line, and the process by that signal.
 */
#define _GNU_SOURCE
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static volatile sig_atomic_t stop_signal;
static const char* dir;

static void record_signal(int signal)
{
    char line[16];
    const int length = snprintf(line, sizeof line, "%d\n", signal);
    char path[4096];
    snprintf(path, sizeof path, "%s/signals", dir);
    const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd >= 0 && write(fd, line, (size_t)length) == length && !stop_signal) {
        stop_signal = signal;
    }
    if (fd >= 0) {
        close(fd);
    }
}

static void append(const char* file, const char* text)
{
    char path[4096];
    snprintf(path, sizeof path, "%s/%s", dir, file);
    FILE* out = fopen(path, "a");
    if (out) {
        fputs(text, out);
        fclose(out);
    }
}

static void sleep_ms(long ms, int until_stopped)
{
    struct timespec left = {ms / 1000, (ms % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && !(until_stopped && stop_signal)) {
    }
}

/* What a test can check of how the client started it. */
static void record_start(void)
{
    sigset_t blocked;
    struct sigaction pipe;
    sigprocmask(SIG_SETMASK, NULL, &blocked);
    sigaction(SIGPIPE, NULL, &pipe);
    int descriptors = 0;
    DIR* fds = opendir("/proc/self/fd");
    for (struct dirent* entry; fds && (entry = readdir(fds));) {
        descriptors += entry->d_name[0] != '.';
    }
    if (fds) {
        closedir(fds);
    }
    char stdin_target[64] = "";
    if (readlink("/proc/self/fd/0", stdin_target, sizeof stdin_target - 1) < 0) {
        strcpy(stdin_target, "?");
    }
    const int tty = open("/dev/tty", O_RDONLY | O_CLOEXEC);
    char text[512];
    snprintf(text, sizeof text,
             "session leader %d, terminal %d, LC_ALL %s, TERM blocked %d, PIPE ignored %d, "
             "input %s, descriptors %d\n",
             getsid(0) == getpid(), tty >= 0, getenv("LC_ALL") ? getenv("LC_ALL") : "-", sigismember(&blocked, SIGTERM),
             pipe.sa_handler == SIG_IGN, stdin_target, descriptors - 1);
    append("start", text);
}

/* The line of DIR/play for `id`: its action and number, and its text unescaped. */
static int find_play(int id, char action[16], long* number, char text[512])
{
    char path[4096];
    snprintf(path, sizeof path, "%s/play", dir);
    FILE* play = fopen(path, "r");
    char line[600];
    int found = 0;
    while (play && !found && fgets(line, sizeof line, play)) {
        int at = 0, played_id;
        *number = 0;
        text[0] = '\0';
        if (sscanf(line, "%d %15s %n", &played_id, action, &at) >= 2 && played_id == id) {
            found = 1;
            char* rest = line + at;
            if (strcmp(action, "print") != 0) {
                *number = strtol(rest, &rest, 10);
                rest += *rest == ' ';
            }
            snprintf(text, 512, "%s", rest);
            text[strcspn(text, "\n")] = '\0';
        }
    }
    if (play) {
        fclose(play);
    }
    for (char* escape; (escape = strstr(text, "\\n"));) {
        *escape = '\n';
        memmove(escape + 1, escape + 2, strlen(escape + 2) + 1);
    }
    return found;
}

/* How many times `id` was refused so far, counted in DIR/lock-ID. */
static long refusals(int id, int add)
{
    char name[32], text[32] = "0";
    snprintf(name, sizeof name, "%s/lock-%d", dir, id);
    FILE* count = fopen(name, "r");
    if (count) {
        if (!fgets(text, sizeof text, count)) {
            strcpy(text, "0");
        }
        fclose(count);
    }
    const long refused = atol(text) + add;
    count = fopen(name, "w");
    if (count) {
        fprintf(count, "%ld\n", refused);
        fclose(count);
    }
    return refused;
}

static const char* settings_file(int id)
{
    return id == 201 ? "fanMode.config" : id == 202 ? "fanLevel.config" : "black.config";
}

/* Runs group k; returns the exit status that ends the batch, -1 to go on, or
   STOPPED_BEFORE when a stop signal came before the group ran. */
enum { STOPPED_BEFORE = -2 };
static int run_group(int k, const char* group)
{
    const int id = atoi(group);
    char action[16], text[512], line[700];
    long number = 0;
    snprintf(line, sizeof line, "%s\n", group);
    if (!find_play(id, action, &number, text)) {
        append("ran", line);
        return -1;
    }
    if (!strcmp(action, "lock") && refusals(id, 0) < number) {
        if (refusals(id, 0) > 0) {
            sleep_ms(atol(text), 1);
            if (stop_signal) {
                return STOPPED_BEFORE;
            }
        }
        refusals(id, 1);
        fprintf(stderr, "zel_exec: command[%d] id=%d execution: lock/truncate %s: Resource temporarily unavailable\n",
                k, id, settings_file(id));
        return 74;
    }
    if (!strcmp(action, "fail")) {
        fprintf(stderr, "zel_exec: command[%d] id=%d execution: write: Invalid argument\n", k, id);
        return 74;
    }
    if (!strcmp(action, "exit")) {
        fputs(text, stderr);
        return (int)number;
    }
    if (!strcmp(action, "die")) {
        fputs(text, stderr);
        fflush(stderr);
        signal((int)number, SIG_DFL);
        raise((int)number);
    }
    if (!strcmp(action, "hang")) {
        signal(SIGTERM, SIG_IGN);
        if (fork() == 0) {
            sleep_ms(10000, 0);
            _exit(0);
        }
        sleep_ms(60000, 0);
        _exit(0);
    }
    if (!strcmp(action, "pulse")) {
        snprintf(line, sizeof line, "%d on\n", id);
        append("ran", line);
        sleep_ms(number, 1);
        snprintf(line, sizeof line, "%d off\n", id);
    }
    if (!strcmp(action, "print")) {
        fputs(text, stdout);
    }
    append("ran", line);
    return -1;
}

int main(int argc, char** argv)
{
    if (argc < 4 || strcmp(argv[2], "-c") != 0) {
        fprintf(stderr, "usage: stand_in DIR -c GROUP...\n");
        return 2;
    }
    dir = argv[1];
    record_start();
    char calls[4096] = "";
    for (int i = 3; i < argc; ++i) {
        strncat(calls, argv[i], sizeof calls - strlen(calls) - 2);
        strcat(calls, i + 1 < argc ? "|" : "\n");
    }
    append("calls", calls);
    struct sigaction stop = {0};
    stop.sa_handler = record_signal;
    for (int signal = 1; signal < 32; ++signal) {
        if (signal != SIGKILL && signal != SIGSTOP && signal != SIGCHLD) {
            sigaction(signal, &stop, NULL);
        }
    }
    int k = 3;
    for (; k < argc && !stop_signal; ++k) {
        const int status = run_group(k - 2, argv[k]);
        if (status == STOPPED_BEFORE) {
            break;
        }
        if (status >= 0) {
            return status;
        }
    }
    fflush(stdout);
    if (stop_signal) {
        fprintf(stderr, "zel_exec: stopped by signal %d after command[%d]\n", (int)stop_signal, k - 3);
        signal(stop_signal, SIG_DFL);
        raise(stop_signal);
    }
    return 0;
}
