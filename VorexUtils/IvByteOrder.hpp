// The eight persisted layouts of packed vectors. Bit 0 of the number: big-endian words; bit 1:
// 64-bit words; bit 2: packing from the bottom. The running layout is IV_LITTLE64l.
#pragma once

namespace VorexUtils {

enum IvByteOrder : unsigned {
  IV_LITTLE32 = 0,
  IV_BIG32 = 1,
  IV_LITTLE64 = 2,
  IV_BIG64 = 3,
  IV_LITTLE32l = 4,
  IV_BIG32l = 5,
  IV_LITTLE64l = 6,
  IV_BIG64l = 7,
};

}  // namespace VorexUtils
