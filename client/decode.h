/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#ifndef ZEL_CLIENT_DECODE_H
#define ZEL_CLIENT_DECODE_H

#include "batch.h"
#include "invocation.h"

/* Fills the outcome's kind, status, signal, group, command and message from how
   the invocation of groups [first, ...) of the batch ended; groups are numbered
   in the whole batch. `lock_refused` tells whether the failing group was a
   settings group refused only because another process held its file's lock,
   the one refusal worth a retry. 0, or -ENOMEM. */
int decode(const struct invocation *run, const struct zel_batch *batch, size_t first, struct zel_outcome *outcome,
           bool *lock_refused);

#endif
