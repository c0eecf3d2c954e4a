#include "frame.h"

#include <algorithm>

namespace zetdip::host {
namespace {

// The longest run of true in used[0 .. n - 1] as (first, length); the whole
// range when nothing is used, so that a blank image is not cropped away.
std::pair<int, int> LongestRun(const std::vector<bool>& used) {
    const int n = static_cast<int>(used.size());
    int bestFirst = 0, bestLength = 0;
    for (int i = 0; i < n;) {
        if (!used[i]) {
            ++i;
            continue;
        }
        int j = i;
        while (j < n && used[j]) ++j;
        if (j - i > bestLength) bestFirst = i, bestLength = j - i;
        i = j;
    }
    return bestLength == 0 ? std::make_pair(0, n) : std::make_pair(bestFirst, bestLength);
}

}  // namespace

std::vector<unsigned char> Frame::BinaryToFile(const std::vector<unsigned short>& work) const {
    std::vector<unsigned char> file(static_cast<std::size_t>(fileWidth) * fileHeight, 0);
    for (int y = 0; y < height; ++y) {
        const unsigned short* src = work.data() + WorkIndex(0, y);
        unsigned char* dst = file.data() + FileIndex(left, FileRow(y));
        for (int x = 0; x < width; ++x) dst[x] = src[x] != 0 ? 255 : 0;
    }
    return file;
}

template <class T>
Box FindContent(const T* pixels, int nWidth, int nHeight) {
    std::vector<int> columnCount(nWidth, 0), rowCount(nHeight, 0);
    for (int y = 0; y < nHeight; ++y)
        for (int x = 0; x < nWidth; ++x)
            if (pixels[static_cast<std::size_t>(y) * nWidth + x] != 0) {
                ++columnCount[x];
                ++rowCount[y];
            }
    // Scanners leave a lone bright sample in an otherwise empty column; a
    // column or row counts as content only above 1 % of its length.
    std::vector<bool> usedColumn(nWidth), usedRow(nHeight);
    for (int x = 0; x < nWidth; ++x) usedColumn[x] = columnCount[x] > std::max(2, nHeight / 100);
    for (int y = 0; y < nHeight; ++y) usedRow[y] = rowCount[y] > std::max(2, nWidth / 100);
    const auto [left, width] = LongestRun(usedColumn);
    const auto [top, height] = LongestRun(usedRow);
    return {left, top, width, height};
}

template Box FindContent(const unsigned char*, int, int);
template Box FindContent(const unsigned short*, int, int);

}  // namespace zetdip::host
