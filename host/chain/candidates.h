// The candidate step of the detection chain: a binary image of the pixels
// that may belong to microcalcifications. It is the one step the library
// leaves to its host, so the chain takes it as a function and this is the
// default.
#ifndef ZETDIP_HOST_CHAIN_CANDIDATES_H
#define ZETDIP_HOST_CHAIN_CANDIDATES_H

#include <functional>
#include <vector>

namespace zetdip::host {

// The working images of the chain, in the library's orientation, each
// nWidth * nHeight words of nBitsStored significant bits.
struct Working {
    int nWidth = 0;
    int nHeight = 0;
    int nBitsStored = 0;
    double dPixelSize = 0.0;
    bool bBreastOnRight = false;
    std::vector<unsigned short> image;       // the mammogram
    std::vector<unsigned short> mask;        // breast without the pectoral muscle
    std::vector<unsigned short> lines;       // line structures
    std::vector<unsigned short> candidates;  // written by the candidate step
    std::vector<unsigned short> kept;        // candidates after false-positive removal
};

// Writes working.candidates (0 or any non-zero value per pixel, already
// sized) from the other images; false when it could not.
using CandidateStep = std::function<bool(Working& working)>;

// The finest wavelet detail level rebuilt and binarised at half the range.
// Microcalcifications, small and far brighter than the tissue, answer there
// in blobs of a few pixels; smooth tissue and vessels do not.
bool WaveletCandidates(Working& working);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CHAIN_CANDIDATES_H
