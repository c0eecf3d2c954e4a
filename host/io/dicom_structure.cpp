// A walk over the elements of a DICOM file that checks that every header
// and every value lies inside the file, before GDCM sees it: GDCM stops the
// whole program on a failed assertion when a file ends early, so a
// truncated file has to be recognised without it. Values are skipped, not
// read; only the transfer syntax is taken from the file meta information.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "io/dicom_common.h"
#include "io/io_common.h"

namespace zetdip::host::io {

namespace {

constexpr std::uint32_t kUndefined = 0xFFFFFFFFu;
constexpr std::uint32_t kItem = 0xFFFEE000u;
constexpr std::uint32_t kItemEnd = 0xFFFEE00Du;
constexpr std::uint32_t kSequenceEnd = 0xFFFEE0DDu;
constexpr int kMaxDepth = 64;

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

class Walker {
public:
    Walker(const std::string& path, std::FILE* f, std::uint64_t nSize)
        : path_(path), f_(f), nSize_(nSize) {}

    void Run() {
        unsigned char head[132];
        if (nSize_ >= 132 && Read(head, 0, 132) && head[128] == 'D' && head[129] == 'I' &&
            head[130] == 'C' && head[131] == 'M')
            pos_ = 132;
        // File meta information: explicit VR little endian, group 0002.
        std::string transferSyntax = "1.2.840.10008.1.2";  // without meta: implicit
        bExplicit_ = true;
        bBig_ = false;
        while (pos_ < nSize_) {
            unsigned char tag[2];
            Need(2);
            Read(tag, pos_, 2);
            if (tag[0] != 0x02 || tag[1] != 0x00) break;
            std::string value;
            Element(0, &value);
            if (lastTag_ == 0x00020010u) transferSyntax = value;
        }
        while (!transferSyntax.empty() &&
               (transferSyntax.back() == '\0' || transferSyntax.back() == ' '))
            transferSyntax.pop_back();
        // Deflated data sets cannot be walked without inflating them.
        if (transferSyntax == "1.2.840.10008.1.2.1.99") return;
        bExplicit_ = transferSyntax != "1.2.840.10008.1.2";
        bBig_ = transferSyntax == "1.2.840.10008.1.2.2";
        while (pos_ < nSize_) Element(0, nullptr);
    }

private:
    [[noreturn]] void Fail(const std::string& what) const {
        throw Error(path_, "truncated or malformed DICOM file: " + what + " at byte " +
                               std::to_string(pos_));
    }

    void Need(std::uint64_t n) const {
        if (n > nSize_ - pos_) Fail("file ends inside an element");
    }

    bool Read(unsigned char* p, std::uint64_t at, std::size_t n) const {
        if (fseeko(f_, static_cast<off_t>(at), SEEK_SET) != 0) return false;
        return std::fread(p, 1, n, f_) == n;
    }

    void Get(unsigned char* p, std::size_t n) {
        Need(n);
        if (!Read(p, pos_, n)) throw Error(path_, ErrnoText(errno));
        pos_ += n;
    }

    std::uint32_t U16(const unsigned char* p, bool bBig) const {
        return bBig ? (p[0] << 8) | p[1] : p[0] | (p[1] << 8);
    }
    std::uint32_t U32(const unsigned char* p, bool bBig) const {
        return bBig ? (std::uint32_t{p[0]} << 24) | (p[1] << 16) | (p[2] << 8) | p[3]
                    : p[0] | (p[1] << 8) | (p[2] << 16) | (std::uint32_t{p[3]} << 24);
    }

    std::uint32_t Tag(bool bBig) {
        unsigned char t[4];
        Get(t, 4);
        return (U16(t, bBig) << 16) | U16(t + 2, bBig);
    }

    // One element at the current position, with its value; returns its tag.
    void Element(int nDepth, std::string* pValue) {
        if (nDepth > kMaxDepth) Fail("sequences nested too deeply");
        const bool bMeta = pValue != nullptr;  // meta information is always little endian
        const bool bBig = bBig_ && !bMeta;
        const std::uint32_t tag = Tag(bBig);
        lastTag_ = tag;
        if (tag == kItem || tag == kItemEnd || tag == kSequenceEnd) Fail("item outside a sequence");
        std::uint32_t nLength = 0;
        bool bSequence = false;
        if (bExplicit_ || bMeta) {
            unsigned char vr[2];
            Get(vr, 2);
            if (vr[0] < 'A' || vr[0] > 'Z' || vr[1] < 'A' || vr[1] > 'Z')
                Fail("no value representation");
            const std::string v(reinterpret_cast<char*>(vr), 2);
            bSequence = v == "SQ";
            if (v == "OB" || v == "OD" || v == "OF" || v == "OL" || v == "OV" || v == "OW" ||
                v == "SQ" || v == "SV" || v == "UC" || v == "UN" || v == "UR" || v == "UT" ||
                v == "UV") {
                unsigned char l[6];
                Get(l, 6);
                nLength = U32(l + 2, bBig);
            } else {
                unsigned char l[2];
                Get(l, 2);
                nLength = U16(l, bBig);
            }
        } else {
            unsigned char l[4];
            Get(l, 4);
            nLength = U32(l, bBig);
        }
        if (nLength != kUndefined) {
            Need(nLength);
            if (pValue && nLength < 256) {
                std::string value(nLength, '\0');
                Read(reinterpret_cast<unsigned char*>(value.data()), pos_, nLength);
                *pValue = value;
            }
            pos_ += nLength;
            return;
        }
        // Undefined length: a sequence, encapsulated pixel data or an
        // implicit sequence; all of them are items up to a delimiter.
        (void)bSequence;
        Items(nDepth, bBig);
    }

    void Items(int nDepth, bool bBig) {
        for (;;) {
            const std::uint32_t tag = Tag(bBig);
            unsigned char l[4];
            Get(l, 4);
            const std::uint32_t nLength = U32(l, bBig);
            if (tag == kSequenceEnd) return;
            if (tag != kItem) Fail("no item in a sequence");
            if (nLength != kUndefined) {
                Need(nLength);
                pos_ += nLength;
                continue;
            }
            for (;;) {
                unsigned char t[4];
                Need(4);
                Read(t, pos_, 4);
                if (((U16(t, bBig) << 16) | U16(t + 2, bBig)) == kItemEnd) {
                    pos_ += 4;
                    unsigned char skip[4];
                    Get(skip, 4);
                    break;
                }
                Element(nDepth + 1, nullptr);
            }
        }
    }

    const std::string& path_;
    std::FILE* f_;
    std::uint64_t nSize_;
    std::uint64_t pos_ = 0;
    bool bExplicit_ = true;
    bool bBig_ = false;
    std::uint32_t lastTag_ = 0;
};

}  // namespace

void CheckDicomStructure(const std::string& path) {
    const std::size_t nSize = CheckInputFile(path);
    std::unique_ptr<std::FILE, FileCloser> f(std::fopen(path.c_str(), "rb"));
    if (!f) throw Error(path, ErrnoText(errno));
    Walker(path, f.get(), nSize).Run();
}

}  // namespace zetdip::host::io
