// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
// What the fixed-program runner costs on top of the least a parent can do to
// run a program: fork, execve, waitpid. Both take turns on the same program.
//
//   zel_bench_runner ROUNDS PROGRAM        timing table
//   zel_bench_runner --only runner|plain COUNT PROGRAM
//                                          COUNT runs of one kind, for strace -f -c
#include "process/run_process.hpp"
#include "stats.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using zel::bench::nowMicroseconds;
using zel::bench::quantile;

bool plainRun(const std::string& program)
{
    char* argv[] = {const_cast<char*>(program.c_str()), nullptr};
    char* envp[] = {nullptr};
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::execve(argv[0], argv, envp);
        ::_exit(127);
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
    }
    return pid > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool runnerRun(const std::string& program) { return zel::runProcess(program, {}, 5000).exitCode == 0; }

void printRow(const char* label, const std::vector<double>& micros)
{
    std::printf("| %-32s | %9.0f | %9.0f | %9.0f |\n", label, quantile(micros, 0.5), quantile(micros, 0.9),
                quantile(micros, 1.0));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 5 && std::strcmp(argv[1], "--only") == 0) {
        const bool runner = std::strcmp(argv[2], "runner") == 0;
        const int count = std::atoi(argv[3]);
        for (int run = 0; run < count; ++run) {
            if (!(runner ? runnerRun(argv[4]) : plainRun(argv[4]))) {
                return 1;
            }
        }
        return 0;
    }
    if (argc != 3) {
        std::fprintf(stderr, "usage: zel_bench_runner ROUNDS PROGRAM | --only runner|plain COUNT PROGRAM\n");
        return 2;
    }
    const int rounds = std::atoi(argv[1]);
    const std::string program = argv[2];
    std::vector<double> plain;
    std::vector<double> runner;
    std::vector<double> overhead;
    for (int round = -rounds / 10; round < rounds; ++round) {
        double start = nowMicroseconds();
        const bool plainOk = plainRun(program);
        const double plainTime = nowMicroseconds() - start;
        start = nowMicroseconds();
        const bool runnerOk = runnerRun(program);
        const double runnerTime = nowMicroseconds() - start;
        if (!plainOk || !runnerOk) {
            std::fprintf(stderr, "zel_bench_runner: %s did not exit 0\n", program.c_str());
            return 1;
        }
        if (round >= 0) { // the first rounds only warm the caches
            plain.push_back(plainTime);
            runner.push_back(runnerTime);
            overhead.push_back(runnerTime - plainTime);
        }
    }
    std::printf("| %-32s | %9s | %9s | %9s |\n", "one run of the program", "median us", "p90 us", "worst us");
    std::printf("|%s|%s|%s|%s|\n", std::string(34, '-').c_str(), std::string(11, '-').c_str(),
                std::string(11, '-').c_str(), std::string(11, '-').c_str());
    printRow("fork + execve + waitpid", plain);
    printRow("runProcess", runner);
    printRow("runner overhead (paired)", overhead);
    // A run that loses the race between end of output and the child's exit
    // sleeps out one whole poll period before it looks at the child again.
    const auto stalls = std::count_if(overhead.begin(), overhead.end(), [](double micros) { return micros > 40000; });
    std::printf("\n%d rounds of %s, the two kinds alternating; %ld runs took over 40 ms more than the plain run.\n",
                rounds, program.c_str(), static_cast<long>(stalls));
    return 0;
}
