// Where the library's working copy of an image sits in the file: the
// content box left after cropping a film's zero padding, and whether the
// rows were reversed so that the chest-wall end of the view lies at the high
// rows, as the breast operations expect. Everything the chain finds is
// mapped back through this before it leaves the host layer.
#ifndef ZETDIP_HOST_CHAIN_FRAME_H
#define ZETDIP_HOST_CHAIN_FRAME_H

#include <cstddef>
#include <vector>

namespace zetdip::host {

struct Frame {
    int fileWidth = 0;
    int fileHeight = 0;
    // The working copy: columns left .. left + width - 1 and rows
    // top .. top + height - 1 of the file.
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    bool flipRows = false;  // working row 0 is the bottom row of the box

    int FileColumn(int workColumn) const { return left + workColumn; }
    int FileRow(int workRow) const { return top + (flipRows ? height - 1 - workRow : workRow); }
    int WorkColumn(int fileColumn) const { return fileColumn - left; }
    int WorkRow(int fileRow) const {
        const int r = fileRow - top;
        return flipRows ? height - 1 - r : r;
    }
    // The library stores a circle's y counted up from the bottom edge:
    // y = nHeight - row, so the bottom row is 1 and the top row nHeight.
    int FileRowOfStoredY(int storedY) const { return FileRow(height - storedY); }

    std::size_t WorkIndex(int workColumn, int workRow) const {
        return static_cast<std::size_t>(workRow) * width + workColumn;
    }
    std::size_t FileIndex(int fileColumn, int fileRow) const {
        return static_cast<std::size_t>(fileRow) * fileWidth + fileColumn;
    }

    // Copies the box out of a file-sized buffer into a working-sized one.
    template <class T, class U>
    void ToWork(const T* file, U* work, int nShift = 0) const {
        for (int y = 0; y < height; ++y) {
            const T* src = file + FileIndex(left, FileRow(y));
            U* dst = work + WorkIndex(0, y);
            for (int x = 0; x < width; ++x) dst[x] = static_cast<U>(src[x] << nShift);
        }
    }
    // A working-sized binary image as a file-sized one: 255 where the
    // working sample is non-zero, 0 there and outside the box.
    std::vector<unsigned char> BinaryToFile(const std::vector<unsigned short>& work) const;
};

// The largest run of columns and of rows holding more than a stray sample
// or two that are not 0: digitised films sit centred in a matrix padded
// with zero columns, and the breast must touch a vertical edge of what the
// library sees. An image without such padding keeps its full size.
struct Box {
    int left, top, width, height;
};
template <class T>
Box FindContent(const T* pixels, int nWidth, int nHeight);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CHAIN_FRAME_H
