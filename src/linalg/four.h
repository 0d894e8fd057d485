// Four doubles at once, the unit of the inner loops; the compiler splits them where the machine's vectors are shorter.
#pragma once

namespace tessel {

using Four [[gnu::vector_size(32)]] = double;

// Four doubles at any address. A packed member is what every compiler takes for unaligned memory: a reference to a
// vector type of small alignment may lose that alignment on its way through a function.
struct [[gnu::packed, gnu::may_alias]] FourAnywhere {
  Four v;
};

[[gnu::always_inline]] inline const FourAnywhere &At(const double *p) {
  return *reinterpret_cast<const FourAnywhere *>(p);
}
[[gnu::always_inline]] inline FourAnywhere &At(double *p) { return *reinterpret_cast<FourAnywhere *>(p); }

}  // namespace tessel
