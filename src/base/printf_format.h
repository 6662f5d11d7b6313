// VELOR_PRINTF_FORMAT(format, arguments) lets the compiler check a printf-like function's arguments, counted
// from 1 and with `this` as the first. MinGW's plain `printf` stands for Microsoft's dialect, which lacks %zu
// and %lld; our formatting goes through the standard one on every system.
#pragma once

#if defined(__clang__)
#define VELOR_PRINTF_FORMAT(format_, arguments_) __attribute__((format(printf, format_, arguments_)))
#elif defined(__GNUC__)
#define VELOR_PRINTF_FORMAT(format_, arguments_) __attribute__((format(gnu_printf, format_, arguments_)))
#else
#define VELOR_PRINTF_FORMAT(format_, arguments_)
#endif
