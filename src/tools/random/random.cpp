// The caller-owned random generator and its uniform and Gaussian deviates.
#include <algorithm>
#include <cmath>
#include <new>

#include "frame/call.hpp"
#include "kelkit/random.h"
#include "tools/random/random_draws.hpp"

namespace kel::tools {

float gauss_draw(KelRandGen &gen) {
  if (gen.has_spare) {
    gen.has_spare = 0;
    return gen.spare;
  }
  std::uint32_t state = gen.state;
  float u1, u2, s;
  do {
    state = next_state(state);
    u1 = unit_of(state);
    state = next_state(state);
    u2 = unit_of(state);
    s = u1 * u1 + u2 * u2;
  } while (s >= 1.0f);  // s == 0 is kept, as the method is defined here
  const double sd = s;
  const float f = static_cast<float>(std::sqrt(-2.0 * std::log(sd) / sd));
  gen.state = state;
  gen.spare = u1 * f;
  gen.has_spare = 1;
  return u2 * f;
}

void gauss_fill(KelRandGen &gen, float *out, long count) {
  long k = 0;
  if (count > 0 && gen.has_spare) {
    gen.has_spare = 0;
    out[k++] = gen.spare;
  }
  constexpr long kBatch = 128;
  float u1[kBatch], u2[kBatch], s[kBatch];
  while (k < count) {
    const long pairs = std::min(kBatch, (count - k + 1) / 2);
    std::uint32_t state = gen.state;
    for (long i = 0; i < pairs; ++i) {
      do {
        state = next_state(state);
        u1[i] = unit_of(state);
        state = next_state(state);
        u2[i] = unit_of(state);
        s[i] = u1[i] * u1[i] + u2[i] * u2[i];
      } while (s[i] >= 1.0f);
    }
    gen.state = state;
    for (long i = 0; i < pairs; ++i) {
      const double sd = s[i];
      const float f = static_cast<float>(std::sqrt(-2.0 * std::log(sd) / sd));
      u1[i] = u1[i] * f;
      u2[i] = u2[i] * f;
    }
    for (long i = 0; i < pairs; ++i) {
      out[k++] = u2[i];
      if (k < count) {
        out[k++] = u1[i];
      } else {  // the last pair's second value is kept for the next draw
        gen.spare = u1[i];
        gen.has_spare = 1;
      }
    }
  }
}

}  // namespace kel::tools

extern "C" {

KELKIT_API KelRandGen *kel_rand_create(void) {
  KelRandGen *gen = new (std::nothrow) KelRandGen{1u, 0, 0.0f};
  if (!gen) kel::fail("kel_rand_create", KEL_ERR_NO_MEMORY);
  return gen;
}

KELKIT_API int kel_rand_seed(KelRandGen *gen, unsigned int seed) {
  if (int e = kel::need_pointer("kel_rand_seed", gen, "RandGen == NULL")) return e;
  gen->state = seed;
  gen->has_spare = 0;
  return KEL_OK;
}

KELKIT_API int kel_rand_delete(KelRandGen *gen) {
  if (int e = kel::need_pointer("kel_rand_delete", gen, "RandGen == NULL")) return e;
  delete gen;
  return KEL_OK;
}

KELKIT_API float kel_uniform_dev(KelRandGen *gen) {
  gen->state = kel::tools::next_state(gen->state);
  return kel::tools::unit_of(gen->state);
}

KELKIT_API float kel_gauss_dev(KelRandGen *gen) {
  return kel::tools::gauss_draw(*gen);
}

}  // extern "C"
