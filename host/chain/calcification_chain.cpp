#include "calcification_chain.h"

#include <ZetDIP.h>

namespace zetdip::host {
namespace {

unsigned char* Bytes(std::vector<unsigned short>& v) {
    return reinterpret_cast<unsigned char*>(v.data());
}

long long CountSet(const std::vector<unsigned short>& v) {
    long long n = 0;
    for (unsigned short s : v) n += s != 0;
    return n;
}

}  // namespace

PreparedImage PrepareImage(const unsigned short* pImage, int W, int H, int nBits, double dPixelSize,
                           const OrientationHints& hints) {
    PreparedImage p;
    p.nBitsStored = nBits;
    p.dPixelSize = dPixelSize;
    p.crop = FindZeroPadding(pImage, W, H, nBits);
    if (p.crop.nWidth != W || p.crop.nHeight != H)
        p.warnings.push_back("cropped zero padding to " + std::to_string(p.crop.nWidth) + " x " +
                             std::to_string(p.crop.nHeight) + " at (" + std::to_string(p.crop.x0) +
                             ", " + std::to_string(p.crop.y0) + ")");
    p.image = CropImage(pImage, W, p.crop);
    p.nWidth = p.crop.nWidth;
    p.nHeight = p.crop.nHeight;

    BreastMask m = MakeBreastMask(p.image.data(), p.nWidth, p.nHeight, nBits, dPixelSize);
    p.bBreastOnRight = m.bBreastOnRight;
    p.nBackground = m.nBackground;
    for (auto& w : m.warnings) p.warnings.push_back(w);
    const bool bTop = hints.bChestWallAtTop.value_or(m.bChestWallAtTop);
    if (!hints.bChestWallAtTop)
        p.warnings.push_back(std::string("chest-wall end taken from the image: ") +
                             (bTop ? "top" : "bottom"));
    p.mask = std::move(m.mask);
    if (bTop) {
        FlipRows(p.image, p.nWidth, p.nHeight);
        FlipRows(p.mask, p.nWidth, p.nHeight);
        p.bFlipped = true;
    }
    p.nMaskPixels = CountSet(p.mask);

    if (hints.bMlo && p.nMaskPixels > 0) {
        CDipFilters::RemovePectoralMuscleFromMask(Bytes(p.image), Bytes(p.mask), 16, nBits,
                                                  p.nWidth, p.nHeight, p.bBreastOnRight,
                                                  dPixelSize);
        p.nPectoralPixels = p.nMaskPixels - CountSet(p.mask);
        if (p.nPectoralPixels * 100 < p.nMaskPixels) {
            const long long n = RemovePectoralFallback(p.image.data(), p.mask, p.nWidth, p.nHeight,
                                                       nBits, p.bBreastOnRight);
            p.bPectoralFallback = true;
            p.nPectoralPixels += n;
            p.warnings.push_back(
                n > 0 ? "the pectoral removal cleared less than 1% of the mask; the bright "
                        "chest-wall corner region was cleared instead (" +
                            std::to_string(n) + " pixels)"
                      : "the pectoral removal cleared less than 1% of the mask and no muscle "
                        "was found in the chest-wall corner");
        }
    }
    return p;
}

void WorkingToFile(const PreparedImage& p, double x, double y, double& fileX, double& fileY) {
    fileX = x + p.crop.x0;
    fileY = (p.bFlipped ? (p.nHeight - 1) - y : y) + p.crop.y0;
}

ThresholdResult MarkClusters(const PreparedImage& prepared, const CandidateResponse& response,
                             double dThreshold) {
    ThresholdResult r;
    const PreparedImage& p = prepared;
    std::vector<unsigned short> mask = p.mask;  // the library's entries take non-const buffers
    CandidateImages c = SelectCandidates(response, dThreshold, p.nBitsStored);
    r.counts = c.counts;
    std::vector<unsigned short> kept(c.binary.size());
    CDipClustering::ApplyFPRemovalCAD(Bytes(c.binary), Bytes(c.binary), Bytes(kept), 16,
                                      p.nBitsStored, p.nHeight, p.nWidth, false);
    r.nKept = CountSet(kept);
    CArray<CPoint, const CPoint&> circles;
    CDipClustering::ApplyClustering(Bytes(c.grey), Bytes(kept), Bytes(mask), circles, 16,
                                    p.nBitsStored, p.nWidth, p.nHeight, p.dPixelSize, p.dPixelSize);
    for (INT_PTR k = 0; k + 1 < circles.GetSize(); k += 2) {
        ClusterMark m;
        // Circles are stored with y = nHeight - row.
        WorkingToFile(p, circles[k].x, p.nHeight - circles[k].y, m.x, m.y);
        m.dRadius = C2dGeo::GetDistanceBetweenPoints(circles[k], circles[k + 1]);
        r.marks.push_back(m);
    }
    return r;
}

}  // namespace zetdip::host
