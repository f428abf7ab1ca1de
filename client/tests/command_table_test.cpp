// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "commands/command_handler.hpp"
#include "stand_in.hpp"

#include <cerrno>

#include <gtest/gtest.h>

namespace zel {
namespace {

// The tool's registry decides what a batch may hold: the client's table names
// the same commands, and every bound it states is one the tool's validation
// accepts, one past it one the tool refuses, so the two cannot drift apart.
TEST(CommandTable, AgreesWithTheToolsRegistry)
{
    const std::vector<const CommandHandler*>& handlers = registeredCommands();
    ASSERT_EQ(zel_command_count(), handlers.size());
    ASSERT_EQ(zel_command_id(handlers.size()), -1);
    for (std::size_t index = 0; index < handlers.size(); ++index) {
        const CommandInfo& info = handlers[index]->info();
        const int id = static_cast<int>(info.id);
        SCOPED_TRACE(id);
        ASSERT_EQ(zel_command_id(index), id);
        EXPECT_STREQ(zel_command_name(id), info.name);
        const int count = zel_command_arg_count(id);
        std::vector<int> lowest(count);
        for (int arg = 0; arg < count; ++arg) {
            lowest[arg] = zel_command_arg_min(id, arg);
        }
        std::string error;
        for (int arg = 0; arg < count; ++arg) {
            SCOPED_TRACE(arg);
            const int min = zel_command_arg_min(id, arg), max = zel_command_arg_max(id, arg);
            for (const auto& [value, valid] : {std::pair{min, true}, {max, true}, {min - 1, false}, {max + 1, false}}) {
                std::vector<int> args = lowest;
                args[arg] = value;
                EXPECT_EQ(handlers[index]->validate(args, error), valid) << value;
                EXPECT_EQ(zel_batch_add(test::makeBatch({}).get(), id, args.data(), args.size()), valid ? 0 : -ERANGE)
                    << value;
            }
        }
        std::vector<int> tooMany = lowest;
        tooMany.push_back(0);
        EXPECT_FALSE(handlers[index]->validate(tooMany, error));
        EXPECT_EQ(zel_batch_add(test::makeBatch({}).get(), id, tooMany.data(), tooMany.size()), -EINVAL);
        EXPECT_EQ(zel_command_arg_min(id, count), -1);
    }
    EXPECT_EQ(zel_command_name(106), nullptr);
}

TEST(CommandTable, WorstCaseCountsPulsesAndProgramRuns)
{
    const int pulse = 20, none[1] = {0};
    EXPECT_EQ(zel_command_worst_case_ms(401, &pulse, 1), 20);
    EXPECT_EQ(zel_command_worst_case_ms(402, &pulse, 1), 10120);
    EXPECT_EQ(zel_command_worst_case_ms(403, &pulse, 1), 5070);
    EXPECT_EQ(zel_command_worst_case_ms(501, none, 1), 10100);
    EXPECT_EQ(zel_command_worst_case_ms(102, none, 1), 800);
    EXPECT_EQ(zel_command_worst_case_ms(402, none, 0), -1);
    const int duty = 255000;
    EXPECT_EQ(zel_command_worst_case_ms(101, &duty, 1), 0);
    EXPECT_FALSE(zel_command_repeatable(402));
    EXPECT_TRUE(zel_command_repeatable(501));
}

// A call the library cannot make is refused before anything runs.
TEST(Client, RefusesCallsItCannotMake)
{
    test::StandIn standIn;
    zel_client* client = standIn.client();
    const auto batch = test::makeBatch({{201, {1}}});
    const auto empty = test::makeBatch({});
    zel_outcome* outcome = nullptr;
    zel_call* call = nullptr;
    zel_submitter* submitter = nullptr;
    int value = 0;
    const char* noCommand[] = {nullptr};
    EXPECT_EQ(zel_client_run(nullptr, batch.get(), 100, &outcome), -EINVAL);
    EXPECT_EQ(zel_client_run(client, nullptr, 100, &outcome), -EINVAL);
    EXPECT_EQ(zel_client_run(client, empty.get(), 100, &outcome), -EINVAL);
    EXPECT_EQ(zel_client_run(client, batch.get(), 100, nullptr), -EINVAL);
    EXPECT_EQ(zel_client_start(nullptr, batch.get(), 100, &call), -EINVAL);
    EXPECT_EQ(zel_client_start(client, nullptr, 100, &call), -EINVAL);
    EXPECT_EQ(zel_client_start(client, empty.get(), 100, &call), -EINVAL);
    EXPECT_EQ(zel_client_start(client, batch.get(), 100, nullptr), -EINVAL);
    EXPECT_EQ(zel_submitter_new(nullptr, 302, ZEL_POLICY_LATEST, 100, &submitter), -EINVAL);
    EXPECT_EQ(zel_submitter_new(client, 106, ZEL_POLICY_LATEST, 100, &submitter), -EINVAL);
    EXPECT_EQ(zel_submitter_new(client, 302, static_cast<zel_policy>(2), 100, &submitter), -EINVAL);
    EXPECT_EQ(zel_submitter_new(client, 302, ZEL_POLICY_DROP, 100, nullptr), -EINVAL);
    EXPECT_EQ(zel_client_read_setting(nullptr, ZEL_SETTING_BLACK, 100, &value), -EINVAL);
    EXPECT_EQ(zel_client_read_setting(client, static_cast<zel_setting>(3), 100, &value), -EINVAL);
    EXPECT_EQ(zel_client_read_setting(client, ZEL_SETTING_BLACK, 100, nullptr), -EINVAL);
    EXPECT_EQ(zel_client_set_command(client, nullptr), -EINVAL);
    EXPECT_EQ(zel_client_set_command(client, noCommand), -EINVAL);
    EXPECT_EQ(zel_client_set_command(nullptr, noCommand), -EINVAL);
    EXPECT_EQ(zel_client_set_root(nullptr, "/"), -EINVAL);
    EXPECT_EQ(standIn.run({{201, {1}}}).get() != nullptr, true);
    EXPECT_EQ(standIn.shown("calls"), "201 1\n");
    EXPECT_STREQ(zel_kind_name(ZEL_KILLED), "killed");
    EXPECT_EQ(zel_kind_name(static_cast<zel_kind>(ZEL_KILLED + 1)), nullptr);
}

TEST(Batch, RefusesWhatTheToolWouldBeforeAnythingRuns)
{
    test::StandIn standIn;
    const auto batch = test::makeBatch({});
    zel_outcome* outcome = nullptr;
    EXPECT_EQ(zel_client_run(standIn.client(), batch.get(), 1000, &outcome), -EINVAL);
    const int mode = 1;
    EXPECT_EQ(zel_batch_add(batch.get(), 106, &mode, 1), -EINVAL);
    EXPECT_EQ(zel_batch_add(batch.get(), 502, &mode, 1), -EINVAL);
    for (int group = 0; group < 64; ++group) {
        ASSERT_EQ(zel_batch_add(batch.get(), 201, &mode, 1), 0);
    }
    EXPECT_EQ(zel_batch_add(batch.get(), 201, &mode, 1), -E2BIG);
    EXPECT_EQ(zel_batch_size(batch.get()), 64U);
    EXPECT_EQ(standIn.shown("calls"), "(none)");
}

} // namespace
} // namespace zel
