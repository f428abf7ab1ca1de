// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "dispatch/help_text.hpp"

#include "commands/command_handler.hpp"

#include <string>

namespace zel {
namespace {

constexpr char kHelpHead[] = "用法: zel_exec -c \"<功能指令号> [整数参数...]\" ...\n"
                             "仅 -h/--help 允许普通用户执行；其他命令必须具备 root 权限。\n"
                             "最多64条、每条256字节；参数只允许十进制整数，空格/Tab分隔。\n"
                             "整批预校验；执行失败即停止，已成功操作不自动回滚。\n";

constexpr char kHelpTail[] = "所有功能允许批量执行；成功=0，失败返回下列退出码，定位信息写入标准错误。\n"
                             "退出码: 0=成功,64=用法错误,65=未知指令,66=参数错误,67=权限不足,70=内部错误,74=下发失败\n";

} // namespace

void writeHelp(std::ostream& out)
{
    std::string text = kHelpHead;
    for (const CommandHandler* handler : registeredCommands()) {
        const CommandInfo& info = handler->info();
        text += std::to_string(static_cast<int>(info.id));
        text += ' ';
        text += info.name;
        text += ' ';
        text += info.usage;
        text += " : ";
        text += info.description;
        text += '\n';
    }
    text += kHelpTail;
    out << text;
}

} // namespace zel
