/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#ifndef ZEL_CLIENT_EXPORT_H
#define ZEL_CLIENT_EXPORT_H

/* The library is built with hidden symbols: only what carries this mark is its
   interface, the list that libzelclient1.symbols promises. */
#define ZEL_API __attribute__((visibility("default")))

#endif
