// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
// Times whole programs the way a front-end starts them: one spawn and one wait
// per run, standard streams on /dev/null. The commands take turns inside every
// round, starting each round one command further on, so a burst of load from
// elsewhere on the machine lands on all of them alike; ratios are taken per
// round for the same reason.
//
//   zel_bench_time [--ratio A B]... ROUNDS LABEL STATUS PROGRAM [ARG...] [,, LABEL STATUS PROGRAM [ARG...]]...
//
// STATUS is the exit status every run must end with; a run that ends otherwise
// stops the bench, so a broken set-up can never pass for a fast one.
#include "stats.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using zel::bench::nowMicroseconds;
using zel::bench::quantile;

struct Command {
    std::string label;
    int status = 0;
    std::vector<char*> argv;
    std::vector<double> micros;
};

[[noreturn]] void usage()
{
    std::fprintf(stderr, "usage: zel_bench_time [--ratio A B]... ROUNDS LABEL STATUS PROGRAM [ARG...] "
                         "[,, LABEL STATUS PROGRAM [ARG...]]...\n");
    std::exit(2);
}

// One run; returns false when it did not end with the expected status.
bool runOnce(Command& command, const posix_spawn_file_actions_t& actions, char* const envp[], bool keep)
{
    const double start = nowMicroseconds();
    pid_t pid = 0;
    if (::posix_spawn(&pid, command.argv[0], &actions, nullptr, command.argv.data(), envp) != 0) {
        return false;
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
    }
    const double elapsed = nowMicroseconds() - start;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != command.status) {
        std::fprintf(stderr, "zel_bench_time: %s ended with wait status %d, expected exit %d\n", command.label.c_str(),
                     status, command.status);
        return false;
    }
    if (keep) {
        command.micros.push_back(elapsed);
    }
    return true;
}

const Command* find(const std::vector<Command>& commands, const std::string& label)
{
    for (const Command& command : commands) {
        if (command.label == label) {
            return &command;
        }
    }
    std::fprintf(stderr, "zel_bench_time: no command labelled %s\n", label.c_str());
    std::exit(2);
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::pair<std::string, std::string>> ratios;
    int at = 1;
    while (at + 2 < argc && std::strcmp(argv[at], "--ratio") == 0) {
        ratios.emplace_back(argv[at + 1], argv[at + 2]);
        at += 3;
    }
    if (at >= argc) {
        usage();
    }
    const int rounds = std::atoi(argv[at++]);
    std::vector<Command> commands;
    while (at < argc) {
        if (argc - at < 3) {
            usage();
        }
        Command command;
        command.label = argv[at++];
        command.status = std::atoi(argv[at++]);
        for (; at < argc && std::strcmp(argv[at], ",,") != 0; ++at) {
            command.argv.push_back(argv[at]);
        }
        command.argv.push_back(nullptr);
        ++at; // the separator
        commands.push_back(std::move(command));
    }
    if (rounds < 1 || commands.empty()) {
        usage();
    }

    // What sudo would leave a front-end's command: a fixed search path, nothing else.
    char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    char* envp[] = {path, nullptr};
    const int devNull = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    for (int fd = 0; fd < 3; ++fd) {
        ::posix_spawn_file_actions_adddup2(&actions, devNull, fd);
    }

    // Warm-up rounds fill the page cache and are not counted.
    const int warmUp = rounds / 10 + 5;
    const std::size_t count = commands.size();
    for (int round = 0; round < warmUp + rounds; ++round) {
        for (std::size_t turn = 0; turn < count; ++turn) {
            Command& command = commands[(static_cast<std::size_t>(round) + turn) % count];
            if (!runOnce(command, actions, envp, round >= warmUp)) {
                return 1;
            }
        }
    }

    std::printf("| %-40s | %10s | %15s |\n", "command", "median us", "p10-p90 us");
    std::printf("|%s|%s|%s|\n", std::string(42, '-').c_str(), std::string(12, '-').c_str(),
                std::string(17, '-').c_str());
    for (const Command& command : commands) {
        const std::string spread = std::to_string(static_cast<long>(quantile(command.micros, 0.1))) + "-" +
                                   std::to_string(static_cast<long>(quantile(command.micros, 0.9)));
        std::printf("| %-40s | %10.0f | %15s |\n", command.label.c_str(), quantile(command.micros, 0.5),
                    spread.c_str());
    }
    if (!ratios.empty()) {
        std::printf("\n| %-60s | %6s | %11s |\n", "ratio of wall times, paired per round", "median", "p10-p90");
        std::printf("|%s|%s|%s|\n", std::string(62, '-').c_str(), std::string(8, '-').c_str(),
                    std::string(13, '-').c_str());
    }
    for (const auto& [top, bottom] : ratios) {
        const Command* a = find(commands, top);
        const Command* b = find(commands, bottom);
        std::vector<double> paired;
        for (std::size_t round = 0; round < a->micros.size(); ++round) {
            paired.push_back(a->micros[round] / b->micros[round]);
        }
        char spread[32];
        std::snprintf(spread, sizeof spread, "%.2f-%.2f", quantile(paired, 0.1), quantile(paired, 0.9));
        const std::string label = top + " / " + bottom;
        std::printf("| %-60s | %6.2f | %11s |\n", label.c_str(), quantile(paired, 0.5), spread);
    }
    std::printf("\n%d rounds (after %d warm-up rounds), commands interleaved.\n", rounds, warmUp);
    return 0;
}
