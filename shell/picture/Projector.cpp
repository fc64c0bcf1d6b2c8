// SPDX-License-Identifier: Apache-2.0
#include "picture/Projector.hpp"

namespace corvane {
namespace {

template <bool Affine>
void plain(const std::uint64_t* points, std::size_t count, const ToPixels& to, std::int32_t* pixels,
           std::uint32_t* depths) {
    projectBlock<Affine>(points, count, to, pixels, depths);
}

#if defined(__x86_64__)
template <bool Affine>
__attribute__((target("avx2"))) void avx2(const std::uint64_t* points, std::size_t count, const ToPixels& to,
                                          std::int32_t* pixels, std::uint32_t* depths) {
    projectBlock<Affine>(points, count, to, pixels, depths);
}

template <bool Affine>
__attribute__((target("avx512f,avx512dq,avx512bw,avx512vl"))) void avx512(const std::uint64_t* points,
                                                                          std::size_t count, const ToPixels& to,
                                                                          std::int32_t* pixels, std::uint32_t* depths) {
    projectBlock<Affine>(points, count, to, pixels, depths);
}
#endif

Instructions best() {
    for (const Instructions instructions : {Instructions::Avx512, Instructions::Avx2})
        if (processorHas(instructions)) return instructions;
    return Instructions::Plain;
}

} // namespace

bool processorHas(Instructions instructions) {
#if defined(__x86_64__)
    if (instructions == Instructions::Avx2) return __builtin_cpu_supports("avx2") != 0;
    if (instructions == Instructions::Avx512)
        return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
               __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0;
#endif
    return instructions == Instructions::Plain;
}

Projector projector(bool affine, Instructions instructions) {
#if defined(__x86_64__)
    if (instructions == Instructions::Avx2) return affine ? avx2<true> : avx2<false>;
    if (instructions == Instructions::Avx512) return affine ? avx512<true> : avx512<false>;
#endif
    (void)instructions;
    return affine ? plain<true> : plain<false>;
}

Projector projector(bool affine) {
    static const Instructions instructions = best();
    return projector(affine, instructions);
}

} // namespace corvane
