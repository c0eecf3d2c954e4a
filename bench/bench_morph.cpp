// Times the morphology engines on a mammogram-sized 12-bit image (3000 x
// 4000): the 3x3 line erosion that the line search repeats, a full 3x3
// erosion, a 5x5 erosion and the blocked against the general path.
#include <cstdio>
#include <random>
#include <vector>

#include "DipMorphMath.h"
#include "bench_timing.h"
#include "morph/se_engine.h"

int main() {
    const int w = 3000, h = 4000;
    std::vector<unsigned short> src(static_cast<std::size_t>(w) * h), dst(src.size());
    std::mt19937 rng(1);
    // Smooth background with noise, so that the rule fires on part of the pixels.
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            src[static_cast<std::size_t>(y) * w + x] =
                static_cast<unsigned short>((x + y) % 4096 / 2 + rng() % 8);
    auto* s = reinterpret_cast<unsigned char*>(src.data());
    auto* d = reinterpret_cast<unsigned char*>(dst.data());
    const std::vector<int> full3(9, 1), full5(25, 1);
    using zetdip::detail::EnginePath;
    using zetdip::detail::ErodeOp;

    std::printf("line erosion 3x3:        %7.2f ms\n",
                BestMs([&] { CDipMorphMath::ApplyErosionLine(s, d, 16, 12, w, h); }));
    std::printf("line erosion in place:   %7.2f ms\n",
                BestMs([&] { CDipMorphMath::ApplyErosionLine(d, d, 16, 12, w, h); }));
    std::printf("full 3x3 erosion:        %7.2f ms\n", BestMs([&] {
                    CDipMorphMath::ApplyErosionWithSE(s, d, 16, 12, w, h, full3.data(), 3, 3, 9);
                }));
    std::printf("full 3x3, general path:  %7.2f ms\n", BestMs([&] {
                    zetdip::detail::ApplyWithSE<ErodeOp>(src.data(), dst.data(), w, h, full3.data(),
                                                         3, 3, 9, EnginePath::kGeneralOnly);
                }));
    std::printf("full 5x5 erosion:        %7.2f ms\n", BestMs([&] {
                    CDipMorphMath::ApplyErosionWithSE(s, d, 16, 12, w, h, full5.data(), 5, 5, 25);
                }));
    std::printf("circle erosion (4 passes): %5.2f ms\n",
                BestMs([&] { CDipMorphMath::ApplyErosionCircle(s, d, 16, 12, w, h); }));
    return 0;
}
