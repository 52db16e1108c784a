// Performance counter: monotonic ticks in nanoseconds. A tick value is never 0, so callers may
// use 0 as "not started". The counter number is accepted for compatibility and ignored: all
// counters share one clock. Thread-safe.
#pragma once

/// The current tick count of counter `counter` (never 0).
long _pcounter(int counter) noexcept;
/// Microseconds from tick `from` to tick `to` of counter `counter` (negative if `to` is earlier).
long _pdiff_muesec(int counter, long from, long to) noexcept;
