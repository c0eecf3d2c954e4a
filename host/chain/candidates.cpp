#include "candidates.h"

#include <ZetDIP.h>

#include <memory>
#include <new>

#include "calcification_candidates.h"

namespace zetdip::host {

CandidateStep BandPassCandidates(double dThreshold) {
    return [dThreshold](Working& w) {
        const CandidateResponse response = ComputeCandidateResponse(
            w.image.data(), w.mask.data(), w.nWidth, w.nHeight, w.dPixelSize);
        CandidateImages c = SelectCandidates(response, dThreshold, w.nBitsStored);
        w.candidates = std::move(c.binary);
        w.grey = std::move(c.grey);
        return true;
    };
}

bool WaveletCandidates(Working& w) {
    // Not zeroed: the decomposition writes every coefficient first.
    std::unique_ptr<double[]> coef(new double[w.image.size()]);
    auto* pImage = reinterpret_cast<unsigned char*>(w.image.data());
    auto* pCandidates = reinterpret_cast<unsigned char*>(w.candidates.data());
    int nLowWidth = 0, nLowHeight = 0, widthOdd[4] = {}, heightOdd[4] = {};
    if (!CDipWavelet::ApplyWaveletDecomposition(pImage, coef.get(), w.nWidth, w.nHeight, 16,
                                                w.nBitsStored, nLowWidth, nLowHeight, widthOdd,
                                                heightOdd, 4))
        return false;
    // The decomposition stops early on small images; the reconstruction
    // must be told how many levels it made.
    int nLevels = 0;
    for (int x = w.nWidth, y = w.nHeight; nLevels < 4 && x >= 16 && y >= 16; ++nLevels) {
        x = (x + 1) / 2;
        y = (y + 1) / 2;
    }
    return CDipWavelet::ApplyWaveletReconstruction(coef.get(), pCandidates, 16, w.nBitsStored,
                                                   w.nWidth, w.nHeight, 0, 0, nLowWidth, nLowHeight,
                                                   widthOdd, heightOdd, nLevels);
}

}  // namespace zetdip::host
