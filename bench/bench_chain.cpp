// Times the filters and the wavelet pyramid on a mammogram-sized 12-bit
// image (3000 x 4000), and the whole detection chain on a synthetic
// mammogram at 0.05 mm per pixel (2400 x 3200).
#include <cstdio>
#include <vector>

#include "ZetDIP.h"
#include "bench_timing.h"
#include "detection_chain.h"
#include "phantom.h"
#include "synthetic.h"

int main() {
    const int w = 3000, h = 4000;
    std::vector<unsigned short> src(static_cast<std::size_t>(w) * h), dst(src.size());
    for (std::size_t i = 0; i < src.size(); ++i)
        src[i] = static_cast<unsigned short>((i * 2654435761u) >> 20);
    auto* s = reinterpret_cast<unsigned char*>(src.data());
    auto* d = reinterpret_cast<unsigned char*>(dst.data());
    std::printf("3x3 mean:            %8.1f ms\n",
                BestMs([&] { CDipFilters::ApplyMean(s, d, 16, 12, w, h); }));
    std::printf("gradient NS:         %8.1f ms\n",
                BestMs([&] { CDipFilters::ApplyGradientNS(s, d, 16, 12, w, h); }));
    std::printf("Gauss, in place:     %8.1f ms\n",
                BestMs([&] { CDipFilters::ApplyGauss(d, d, 16, 12, w, h, 1.0f); }));
    std::printf("difference of Gauss: %8.1f ms\n",
                BestMs([&] { CDipFilters::ApplyDOG(s, d, 16, 12, w, h, 1.0f, 2.0f, 1.0f, 2.0f); }));
    std::vector<double> coef(src.size());
    int lw = 0, lh = 0, wo[4] = {}, ho[4] = {};
    std::printf("wavelet pyramid:     %8.1f ms\n", BestMs([&] {
                    CDipWavelet::ApplyWaveletDecomposition(s, coef.data(), w, h, 16, 12, lw, lh, wo,
                                                           ho, 4);
                    CDipWavelet::ApplyWaveletReconstruction(coef.data(), d, 16, 12, w, h, 0, 1, lw,
                                                            lh, wo, ho, 4);
                }));

    zetdip::phantom::Options options;
    options.dPixelSize = 0.05;
    const auto image = zetdip::host::SyntheticImage(zetdip::phantom::MakeMammogram(options));
    std::printf("detection chain (%d x %d): %8.1f ms\n", image.nWidth, image.nHeight,
                BestMs([&] { zetdip::host::Detect(image, {}); }));
    return 0;
}
