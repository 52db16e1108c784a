// Bounded, locale-free string helpers of the base layer.
#pragma once

namespace Basis {
/// ASCII case-insensitive comparison of whole NUL-terminated strings; no locale.
int strcasecmp(const char* a, const char* b) noexcept;
}  // namespace Basis
