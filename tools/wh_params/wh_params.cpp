// Selects the Wichmann-Hill members 2 to 272 of this library.
//
// Members 0 and 1 are the published sets. The others are this library's own:
// going down from the smallest modulus of member 1, take each prime in turn,
// give it as multiplier its largest primitive root below 128, keep it when
// that root is at least 100 (members 0 and 1 use 117 to 127), and group the
// kept primes by fours. So every member has four distinct prime moduli just
// below 2^24, every component has full period m - 1, and no modulus is shared
// between members.
//
// Usage: zev_wh_params > generators/wh/wh_params.inc
#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

bool is_prime(uint32_t n) {
  if (n < 2) return false;
  for (uint32_t d = 2; d * d <= n; ++d)
    if (n % d == 0) return false;
  return true;
}

uint32_t pow_mod(uint64_t a, uint64_t e, uint64_t m) {
  uint64_t r = 1;
  a %= m;
  while (e) {
    if (e & 1) r = r * a % m;
    a = a * a % m;
    e >>= 1;
  }
  return uint32_t(r);
}

// g is a primitive root of prime p when g^((p-1)/q) != 1 for every prime q | p-1.
bool is_primitive_root(uint32_t g, uint32_t p) {
  uint32_t n = p - 1;
  for (uint32_t q = 2; q * q <= n; ++q) {
    if (n % q) continue;
    if (pow_mod(g, (p - 1) / q, p) == 1) return false;
    while (n % q == 0) n /= q;
  }
  if (n > 1 && pow_mod(g, (p - 1) / n, p) == 1) return false;
  return true;
}

uint32_t largest_root_below_128(uint32_t p) {
  for (uint32_t g = 127; g >= 2; --g)
    if (is_primitive_root(g, p)) return g;
  return 0;
}

}  // namespace

int main() {
  const uint32_t published_m[2][4] = {{0xFFE657, 0xFFE653, 0xFFE63F, 0xFFE639},
                                      {0xFFE507, 0xFFE4EB, 0xFFE4D7, 0xFFE4A1}};
  const uint32_t published_a[2][4] = {{125, 117, 127, 126}, {127, 126, 125, 123}};
  // The published members obey the same rule for their multipliers.
  for (int r = 0; r < 2; ++r)
    for (int j = 0; j < 4; ++j)
      if (largest_root_below_128(published_m[r][j]) != published_a[r][j]) {
        std::fprintf(stderr, "published member %d does not follow the rule\n", r);
        return 1;
      }

  std::vector<uint32_t> m, a;
  for (uint32_t p = published_m[1][3] - 1; m.size() < 271 * 4; --p) {
    if (!is_prime(p)) continue;
    uint32_t g = largest_root_below_128(p);
    if (g < 100) continue;
    m.push_back(p);
    a.push_back(g);
  }

  std::printf("// Made by tools/wh_params (zev_wh_params); do not edit.\n");
  std::printf("// Rows 0 and 1: the published Wichmann-Hill sets. Rows 2 to 272: this\n");
  std::printf("// library's own sets, chosen by the rule in tools/wh_params/wh_params.cpp.\n");
  std::printf("// Lowest modulus: 0x%X.\n", m.back());
  std::printf("static const uint32_t kWhModuli[273][4] = {\n");
  for (int r = 0; r < 2; ++r)
    std::printf("    {0x%X, 0x%X, 0x%X, 0x%X},\n", published_m[r][0], published_m[r][1],
                published_m[r][2], published_m[r][3]);
  for (size_t i = 0; i < m.size(); i += 4)
    std::printf("    {0x%X, 0x%X, 0x%X, 0x%X},\n", m[i], m[i + 1], m[i + 2], m[i + 3]);
  std::printf("};\n\nstatic const uint8_t kWhMultipliers[273][4] = {\n");
  for (int r = 0; r < 2; ++r)
    std::printf("    {%u, %u, %u, %u},\n", published_a[r][0], published_a[r][1], published_a[r][2],
                published_a[r][3]);
  for (size_t i = 0; i < a.size(); i += 4)
    std::printf("    {%u, %u, %u, %u},\n", a[i], a[i + 1], a[i + 2], a[i + 3]);
  std::printf("};\n");
  return 0;
}
