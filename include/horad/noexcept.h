/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * How the other headers tell C++ that no function which the daemon exports throws.
 * C has no word for it and needs none.
 */
#ifndef HORAD_NOEXCEPT_H
#define HORAD_NOEXCEPT_H

#ifdef __cplusplus
#define HORAD_NOEXCEPT noexcept
#else
#define HORAD_NOEXCEPT
#endif

#endif
