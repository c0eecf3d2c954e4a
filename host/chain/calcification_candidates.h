// The candidate step of the detection chain: where in a mammogram a
// microcalcification may sit, as the binary image and the grey image that
// the library's false-positive removal and clustering read.
//
// A microcalcification is a bright spot of about 0.1 to 1 mm on a background
// that varies slowly. A difference of Gaussians tuned to that size answers
// to it and hardly to the tissue; it is taken against two backgrounds, a
// near one that removes most of the tissue's fine structure and a farther
// one that leaves the larger spots whole. Each answer is divided by a robust
// estimate of its local noise (the median absolute answer in tiles of a few
// millimetres), so that one threshold, in multiples of that noise, means the
// same on film and on digital images, in fat and in dense tissue; the larger
// of the two is the response. Every local peak above the threshold becomes
// one small square blob, after cheap tests of its size and elongation; so
// does a somewhat weaker peak within a few millimetres of such a one, since
// microcalcifications come in clusters and noise peaks seldom do.
//
// Every length is fixed in millimetres and turned into pixels with the pixel
// size, so the step behaves alike from 0.05 to 0.2 mm per pixel.
#ifndef ZETDIP_HOST_CHAIN_CALCIFICATION_CANDIDATES_H
#define ZETDIP_HOST_CHAIN_CALCIFICATION_CANDIDATES_H

#include <cstddef>
#include <vector>

namespace zetdip::host {

// The band-pass answer of one image divided by its local noise; computed
// once and thresholded at as many operating points as wanted.
struct CandidateResponse {
    int nWidth = 0;
    int nHeight = 0;
    double dPixelSize = 0.0;
    std::vector<float> z;             // answer / local noise; 0 outside the search area
    std::vector<unsigned char> area;  // 1 where a candidate may sit (mask, eroded)
    std::vector<float> noise;         // local noise of the band (near background), grey levels
};

struct CandidateCounts {
    long long nPeaks = 0;       // local maxima at or above the context floor (3/4 of the threshold)
    long long nTooLarge = 0;    // their bright region is wider than a microcalcification
    long long nElongated = 0;   // their bright region is a line, not a spot
    long long nAlone = 0;       // under the threshold with no peak at it nearby
    long long nCandidates = 0;  // blobs written
};

struct Candidate {
    int x, y;  // peak, working image frame
    float z;   // peak answer in noise multiples
};

struct CandidateImages {
    // nWidth * nHeight samples each, in the working image's frame.
    std::vector<unsigned short> binary;  // maximum sample value on each blob, 0 elsewhere
    // Grey image for the clustering's shape check: saturated (after the
    // library's stretch) where the answer reaches the threshold, dark where
    // there is no answer, so that its runs of saturated samples measure the
    // bright structure around each blob.
    std::vector<unsigned short> grey;
    std::vector<Candidate> candidates;
    CandidateCounts counts;
};

// Operating point chosen on the development set of digitised films: the
// most clusters found at well under one false cluster per image.
constexpr double kDefaultCandidateThreshold = 5.5;

// Band-pass answer in noise multiples of a 16-bit working image (nBitsStored
// significant bits, dPixelSize mm per pixel). pMask (non-zero inside, may be
// null for the whole image) limits where candidates may sit; the answer near
// its edge, which sees the background, is left out.
CandidateResponse ComputeCandidateResponse(const unsigned short* pImage,
                                           const unsigned short* pMask, int nWidth, int nHeight,
                                           double dPixelSize);

// Blobs at every peak of at least dThreshold noise multiples that passes
// the size and shape tests, and at every such peak of at least 3/4 of it
// within 3 mm of one of the former; ready for
// CDipClustering::ApplyFPRemovalCAD and ApplyClustering at nBitsStored
// (9..16).
CandidateImages SelectCandidates(const CandidateResponse& response, double dThreshold,
                                 int nBitsStored);

// Side of the square blob written per candidate, in pixels: about 0.3 mm,
// at least 2 so that the false-positive removal does not take it for an
// isolated speck.
int CandidateBlobSide(double dPixelSize);

// Noise of a band-pass answer: median absolute value / 0.6745 over the
// samples where pArea is non-zero (all when null); 0 when there are none.
double RobustNoise(const float* pValues, const unsigned char* pArea, std::size_t n);

// Gaussian blur of a float image (separable, mirrored borders, kernel cut
// at 3 sigma); sigma in pixels, <= 0 copies.
std::vector<float> GaussianBlur(const std::vector<float>& image, int nWidth, int nHeight,
                                double dSigma);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CHAIN_CALCIFICATION_CANDIDATES_H
