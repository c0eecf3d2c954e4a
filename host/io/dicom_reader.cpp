// DICOM input through GDCM: every transfer syntax GDCM decodes, one grey
// frame of a mammogram, its grey levels brought into the library's form
// and the facts the detection chain needs read from the header.
#include <gdcmDataSet.h>
#include <gdcmImage.h>
#include <gdcmImageReader.h>
#include <gdcmItem.h>
#include <gdcmJPEG2000Codec.h>
#include <gdcmJPEGCodec.h>
#include <gdcmJPEGLSCodec.h>
#include <gdcmReader.h>
#include <gdcmSequenceOfFragments.h>
#include <gdcmSequenceOfItems.h>
#include <gdcmTransferSyntax.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>
#include <type_traits>

#include "DipBasic.h"
#include "io/dicom_common.h"
#include "io/io_common.h"

namespace zetdip::host::io {

namespace {

std::string Trim(std::string s) {
    const auto bSpace = [](char c) {
        return c == ' ' || c == '\0' || c == '\t' || c == '\r' || c == '\n';
    };
    while (!s.empty() && bSpace(s.back())) s.pop_back();
    std::size_t n = 0;
    while (n < s.size() && bSpace(s[n])) ++n;
    return s.substr(n);
}

std::optional<std::string> StringOf(const gdcm::DataSet& ds, const gdcm::Tag& tag) {
    if (!ds.FindDataElement(tag)) return std::nullopt;
    const gdcm::DataElement& de = ds.GetDataElement(tag);
    const gdcm::ByteValue* bv = de.GetByteValue();
    if (!bv || !bv->GetPointer()) return std::nullopt;
    std::string s = Trim(std::string(bv->GetPointer(), bv->GetLength()));
    if (s.empty()) return std::nullopt;
    return s;
}

std::optional<std::string> StringOf(const gdcm::DataSet& ds, const char* keyword) {
    return StringOf(ds, *TagOfKeyword(keyword));
}

// A US element (read as GDCM presents it: in host order).
std::optional<int> UnsignedOf(const gdcm::DataSet& ds, const gdcm::Tag& tag) {
    if (!ds.FindDataElement(tag)) return std::nullopt;
    const gdcm::ByteValue* bv = ds.GetDataElement(tag).GetByteValue();
    if (!bv || bv->GetLength() != 2) return std::nullopt;
    unsigned short v = 0;
    std::memcpy(&v, bv->GetPointer(), 2);
    return v;
}

std::vector<std::string> Values(const std::string& s) {
    std::vector<std::string> values;
    std::stringstream in(s);
    std::string v;
    while (std::getline(in, v, '\\')) values.push_back(Trim(v));
    return values;
}

// A decimal string as a finite double; nullopt if it is not one. Parsed
// independently of the locale, which may use a decimal comma.
std::optional<double> Number(const std::string& s) {
    const char* p = s.data();
    const char* pEnd = s.data() + s.size();
    if (p != pEnd && *p == '+') ++p;
    double d = 0.0;
    const auto [pStop, ec] = std::from_chars(p, pEnd, d);
    if (p == pEnd || ec != std::errc() || pStop != pEnd || !std::isfinite(d)) return std::nullopt;
    return d;
}

std::string Upper(std::string s) {
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

// ---- which images are taken --------------------------------------------------

// The one rule for what is taken as a mammogram: modality MG or a
// mammography SOP class; digitised film mammograms come as secondary
// captures or radiographs of another modality, and the body part says what
// they show. Returns the note to keep, or the refusal.
struct MammogramVerdict {
    bool bTaken = false;
    std::string why;  // a note when taken by the body part, else the refusal
};

MammogramVerdict JudgeMammogram(const gdcm::DataSet& ds) {
    const std::string modality = StringOf(ds, "Modality").value_or("");
    const std::string sopClass = StringOf(ds, "SOPClassUID").value_or("");
    if (modality == "MG" || sopClass == kMammographyForPresentation ||
        sopClass == kMammographyForProcessing)
        return {true, ""};
    if (Upper(StringOf(ds, "BodyPartExamined").value_or("")) == "BREAST")
        return {true, "modality " + (modality.empty() ? std::string("none") : modality) +
                          " taken as a mammogram: Body Part Examined is BREAST"};
    return {false, "not a mammogram: modality " +
                       (modality.empty() ? std::string("not given") : modality)};
}

void CheckIsMammogram(const std::string& path, const gdcm::DataSet& ds, Image& image) {
    MammogramVerdict verdict = JudgeMammogram(ds);
    if (!verdict.bTaken) throw Error(path, verdict.why);
    if (!verdict.why.empty()) image.notes.push_back(std::move(verdict.why));
}

// ---- facts ---------------------------------------------------------------------

void ReadPixelSize(const std::string& path, const gdcm::DataSet& ds, const ReadOptions& options,
                   Image& image) {
    if (options.pixelSize) {
        SetPixelSizeFromOptions(image, options);
        return;
    }
    // Imager Pixel Spacing is measured at the detector, which is what a
    // mammography system reports; the others follow in decreasing order of
    // how often a mammogram carries them.
    for (const char* keyword : {"ImagerPixelSpacing", "PixelSpacing", "NominalScannedPixelSpacing",
                                "SpatialResolution"}) {
        const auto text = StringOf(ds, keyword);
        if (!text) continue;
        const std::vector<std::string> values = Values(*text);
        const auto row = Number(values[0]);
        const auto column = values.size() > 1 ? Number(values[1]) : row;
        if (!row || !column || !(*row > 0.0) || !(*column > 0.0)) {
            image.notes.push_back(std::string(keyword) + " '" + *text +
                                  "' is not a pixel size; ignored");
            continue;
        }
        image.rowSpacing = Fact<double>{*row, keyword};
        image.columnSpacing = Fact<double>{*column, keyword};
        return;
    }
    throw Error(path, "no pixel size in the file; pass --pixel-size");
}

std::optional<std::string> ViewFromCode(const std::string& value, const std::string& meaning) {
    // Code meanings as the mammography view context group spells them,
    // compared without case, spaces or hyphens.
    static const std::pair<const char*, const char*> kMeanings[] = {
        {"mediolateraloblique", "MLO"},
        {"craniocaudal", "CC"},
        {"mediolateral", "ML"},
        {"lateromedial", "LM"},
        {"lateromedialoblique", "LMO"},
        {"craniocaudalexaggeratedlaterally", "XCCL"},
        {"craniocaudalexaggeratedmedially", "XCCM"},
        {"exaggeratedcraniocaudal", "XCC"},
        {"caudocranial(frombelow)", "FB"},
        {"caudocranial", "FB"},
        {"superolateraltoinferomedialoblique", "SIO"},
        {"inferomedialtosuperolateraloblique", "ISO"},
        {"axillarytail", "AT"},
        {"cleavage", "CV"},
    };
    static const std::pair<const char*, const char*> kValues[] = {
        {"R-10226", "MLO"}, {"R-10242", "CC"},   {"R-10224", "ML"},   {"R-10228", "LM"},
        {"R-10230", "LMO"}, {"R-1024A", "XCCL"}, {"R-1024B", "XCCM"},
    };
    std::string key;
    for (char c : meaning)
        if (c != ' ' && c != '-' && c != '_')
            key.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    for (const auto& [m, view] : kMeanings)
        if (key == m) return std::string(view);
    for (const auto& [v, view] : kValues)
        if (value == v) return std::string(view);
    return std::nullopt;
}

void ReadViewAndSide(const gdcm::DataSet& ds, Image& image) {
    for (const char* keyword : {"ImageLaterality", "Laterality"}) {
        const auto text = StringOf(ds, keyword);
        if (!text) continue;
        const std::string side = Upper(*text);
        if (side == "L" || side == "R") {
            image.laterality =
                Fact<Laterality>{side == "L" ? Laterality::Left : Laterality::Right, keyword};
            break;
        }
        image.notes.push_back(std::string(keyword) + " '" + *text +
                              "' is neither L nor R; ignored");
    }

    if (const auto view = StringOf(ds, "ViewPosition")) {
        image.view = Fact<std::string>{Upper(*view), "ViewPosition"};
    } else {
        const gdcm::Tag viewCodes(0x0054, 0x0220);
        if (ds.FindDataElement(viewCodes)) {
            const auto sq = ds.GetDataElement(viewCodes).GetValueAsSQ();
            if (sq && sq->GetNumberOfItems() > 0) {
                const gdcm::DataSet& item = sq->GetItem(1).GetNestedDataSet();
                const std::string value = StringOf(item, gdcm::Tag(0x0008, 0x0100)).value_or("");
                const std::string meaning = StringOf(item, gdcm::Tag(0x0008, 0x0104)).value_or("");
                if (const auto mapped = ViewFromCode(value, meaning))
                    image.view = Fact<std::string>{*mapped, "ViewCodeSequence"};
                else
                    image.notes.push_back("view code " + value + " '" + meaning +
                                          "' not recognised");
            }
        }
    }

    if (const auto orientation = StringOf(ds, "PatientOrientation")) {
        const std::vector<std::string> values = Values(*orientation);
        if (values.size() == 2) {
            image.patientOrientationRow = values[0];
            image.patientOrientationColumn = values[1];
        }
    }

    const std::string intent = Upper(StringOf(ds, "PresentationIntentType").value_or(""));
    const std::string sopClass = StringOf(ds, "SOPClassUID").value_or("");
    if (intent == "FOR PROCESSING" || intent == "FOR PRESENTATION") {
        image.forProcessing = intent == "FOR PROCESSING";
    } else if (sopClass == kMammographyForProcessing || sopClass == kMammographyForPresentation) {
        image.forProcessing = sopClass == kMammographyForProcessing;
        image.notes.push_back(std::string("no Presentation Intent Type; ") +
                              (*image.forProcessing ? "FOR PROCESSING" : "FOR PRESENTATION") +
                              " from the SOP class");
    }
    image.sopInstanceUid = StringOf(ds, "SOPInstanceUID").value_or("");
}

// ---- grey levels ---------------------------------------------------------------

struct Rescale {
    double dSlope = 1.0;
    double dIntercept = 0.0;
};

Rescale ReadRescale(const gdcm::DataSet& ds, Image& image) {
    Rescale r;
    const auto slope = StringOf(ds, "RescaleSlope");
    const auto intercept = StringOf(ds, "RescaleIntercept");
    if (slope) {
        if (const auto d = Number(Values(*slope)[0]); d && *d != 0.0)
            r.dSlope = *d;
        else
            image.notes.push_back("Rescale Slope '" + *slope + "' unusable; ignored");
    }
    if (intercept) {
        if (const auto d = Number(Values(*intercept)[0]))
            r.dIntercept = *d;
        else
            image.notes.push_back("Rescale Intercept '" + *intercept + "' unusable; ignored");
    }
    return r;
}

// Brings the decoded words (each holding one sample in the file's layout)
// into the library's form: stored bits at the bottom, unsigned, rescaled,
// dense tissue bright.
void ToLibraryForm(std::vector<unsigned short>& words, int nWidth, int nHeight, int nBitsStored,
                   int nHighBit, bool bSigned, const Rescale& rescale, bool bMonochrome1,
                   Image& image) {
    const int nCount = static_cast<int>(words.size());
    CDipBasic::AdjustPixels16Bits(words.data(), nBitsStored, nHighBit, nWidth, nHeight);
    if (nHighBit != nBitsStored - 1)
        image.notes.push_back("stored bits " + std::to_string(nHighBit - nBitsStored + 1) + ".." +
                              std::to_string(nHighBit) + " moved to the bottom of each word");
    const unsigned nMax = (1u << nBitsStored) - 1u;
    const unsigned nSignOffset = bSigned ? 1u << (nBitsStored - 1) : 0u;
    if (bSigned) {
        // Two's complement to offset binary: the value v is stored as
        // v + 2^(bits stored - 1), so the darkest sample becomes 0.
        CDipBasic::ConvertToUnsignedIfNeeded(words.data(), 1, 16, nCount, nBitsStored);
        image.notes.push_back("signed samples offset by " + std::to_string(nSignOffset));
    }
    if (rescale.dSlope != 1.0 || rescale.dIntercept != 0.0) {
        // The rescale applies to the signed value; the offset of signed
        // samples is kept so that an identity rescale changes nothing.
        std::size_t nClamped = 0;
        for (unsigned short& w : words) {
            const double dStored =
                static_cast<double>(static_cast<int>(w) - static_cast<int>(nSignOffset));
            const double dValue = std::floor(rescale.dSlope * dStored + rescale.dIntercept + 0.5) +
                                  static_cast<double>(nSignOffset);
            const double dClamped = std::min(std::max(dValue, 0.0), static_cast<double>(nMax));
            if (dClamped != dValue) ++nClamped;
            w = static_cast<unsigned short>(dClamped);
        }
        std::ostringstream note;
        note << "rescaled: slope " << rescale.dSlope << ", intercept " << rescale.dIntercept << "; "
             << nClamped << " samples clamped to 0.." << nMax;
        image.notes.push_back(note.str());
    }
    if (bMonochrome1) {
        for (unsigned short& w : words) w = static_cast<unsigned short>(nMax - w);
        image.notes.push_back("MONOCHROME1 inverted (" + std::to_string(nMax) +
                              " - v) so that dense tissue is bright");
    }
}

// The size and sample precision a codestream declares for itself.
struct CodestreamSize {
    unsigned nWidth = 0;
    unsigned nHeight = 0;
    unsigned nComponents = 0;
    unsigned nPrecision = 0;
};

unsigned Big16(const unsigned char* p) {
    return (p[0] << 8) | p[1];
}
unsigned Big32(const unsigned char* p) {
    return (Big16(p) << 16) | Big16(p + 2);
}

// JPEG 2000: the SIZ segment right after the start of the codestream
// (possibly inside a JP2 wrapper, so it is searched for).
std::optional<CodestreamSize> Jpeg2000Size(const std::string& s) {
    const auto* p = reinterpret_cast<const unsigned char*>(s.data());
    for (std::size_t i = 0; i + 4 <= s.size(); ++i) {
        if (!(p[i] == 0xFF && p[i + 1] == 0x4F && p[i + 2] == 0xFF && p[i + 3] == 0x51)) continue;
        const std::size_t q = i + 4;  // Lsiz
        if (q + 38 + 3 > s.size()) return std::nullopt;
        CodestreamSize c;
        const unsigned nX = Big32(p + q + 4), nY = Big32(p + q + 8);
        const unsigned nX0 = Big32(p + q + 12), nY0 = Big32(p + q + 16);
        if (nX0 > nX || nY0 > nY) return std::nullopt;
        c.nWidth = nX - nX0;
        c.nHeight = nY - nY0;
        c.nComponents = Big16(p + q + 36);
        c.nPrecision = (p[q + 38] & 0x7F) + 1u;
        return c;
    }
    return std::nullopt;
}

// JPEG (all processes) and JPEG-LS: the first start-of-frame segment.
std::optional<CodestreamSize> JpegSize(const std::string& s) {
    const auto* p = reinterpret_cast<const unsigned char*>(s.data());
    std::size_t i = 2;
    if (s.size() < 4 || p[0] != 0xFF || p[1] != 0xD8) return std::nullopt;
    while (i + 4 <= s.size()) {
        if (p[i] != 0xFF) return std::nullopt;
        const unsigned marker = p[i + 1];
        if (marker == 0xFF) {  // fill byte
            ++i;
            continue;
        }
        const unsigned nLength = Big16(p + i + 2);
        const bool bFrame = (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 &&
                             marker != 0xCC) ||
                            marker == 0xF7;
        if (bFrame) {
            if (i + 10 > s.size()) return std::nullopt;
            CodestreamSize c;
            c.nPrecision = p[i + 4];
            c.nHeight = Big16(p + i + 5);
            c.nWidth = Big16(p + i + 7);
            c.nComponents = p[i + 9];
            return c;
        }
        i += 2 + nLength;
    }
    return std::nullopt;
}

// GDCM decodes a compressed image into a buffer sized from the header's
// rows and columns, whatever size the codestream itself has; a codestream
// larger than the header says would overrun it. The codestream's own size
// is read first and must agree.
void CheckCodestream(const std::string& path, const gdcm::Image& gi, int nWidth, int nHeight,
                     int nAllocated) {
    const gdcm::TransferSyntax& ts = gi.GetTransferSyntax();
    const bool bJpeg2000 = gdcm::JPEG2000Codec().CanDecode(ts);
    const bool bJpeg = gdcm::JPEGCodec().CanDecode(ts) || gdcm::JPEGLSCodec().CanDecode(ts);
    if (!bJpeg2000 && !bJpeg) return;  // RLE segments carry no size; GDCM checks their lengths
    const gdcm::SequenceOfFragments* pFragments = gi.GetDataElement().GetSequenceOfFragments();
    if (!pFragments || pFragments->GetNumberOfFragments() == 0)
        throw Error(path, "no compressed pixel data");
    // The headers sit at the start of the first fragment.
    const gdcm::ByteValue* pFirst = pFragments->GetFragment(0).GetByteValue();
    if (!pFirst || !pFirst->GetPointer()) throw Error(path, "empty compressed pixel data");
    const std::string head(pFirst->GetPointer(),
                           std::min<std::size_t>(pFirst->GetLength(), std::size_t{1} << 20));
    const std::optional<CodestreamSize> size = bJpeg2000 ? Jpeg2000Size(head) : JpegSize(head);
    if (!size) throw Error(path, "compressed pixel data has no readable header");
    const unsigned nBytesNeeded = size->nPrecision > 8 ? 16u : 8u;
    if (static_cast<int>(size->nWidth) != nWidth || static_cast<int>(size->nHeight) != nHeight ||
        size->nComponents != 1 || static_cast<int>(nBytesNeeded) > nAllocated)
        throw Error(path, "compressed pixel data is " + std::to_string(size->nWidth) + " x " +
                              std::to_string(size->nHeight) + " samples of " +
                              std::to_string(size->nPrecision) + " bits (" +
                              std::to_string(size->nComponents) + " per pixel), the header says " +
                              std::to_string(nWidth) + " x " + std::to_string(nHeight) + " of " +
                              std::to_string(nAllocated));
}

Image Decode(const std::string& path, const ReadOptions& options) {
    SilenceGdcm();
    gdcm::ImageReader reader;
    reader.SetFileName(path.c_str());
    const bool bRead = reader.Read();
    const gdcm::DataSet& ds = reader.GetFile().GetDataSet();
    if (ds.IsEmpty()) throw Error(path, "not a readable DICOM file");

    Image image;
    image.path = path;
    image.format = "DICOM";
    CheckIsMammogram(path, ds, image);
    if (!bRead) throw Error(path, "DICOM file without an image GDCM can read");

    const gdcm::Image& gi = reader.GetImage();
    const gdcm::PixelFormat& pf = gi.GetPixelFormat();
    image.transferSyntax =
        gi.GetTransferSyntax().GetString() ? gi.GetTransferSyntax().GetString() : "";
    image.transferSyntax = Trim(image.transferSyntax);
    image.photometric = StringOf(ds, gdcm::Tag(0x0028, 0x0004)).value_or("");

    const unsigned nFrames = gi.GetNumberOfDimensions() > 2 ? gi.GetDimension(2) : 1;
    if (nFrames > 1)
        throw Error(path, "multi-frame image (" + std::to_string(nFrames) +
                              " frames); one image per file only");
    const auto pi = gi.GetPhotometricInterpretation();
    const bool bMonochrome1 = pi == gdcm::PhotometricInterpretation::MONOCHROME1;
    if (pf.GetSamplesPerPixel() != 1 ||
        (!bMonochrome1 && pi != gdcm::PhotometricInterpretation::MONOCHROME2))
        throw Error(path, "colour image (" + Trim(pi.GetString() ? pi.GetString() : "?") + ", " +
                              std::to_string(pf.GetSamplesPerPixel()) +
                              " samples per pixel); grey mammograms only");
    if (image.photometric.empty()) image.photometric = bMonochrome1 ? "MONOCHROME1" : "MONOCHROME2";

    // From the elements themselves: GDCM's pixel format cannot hold a high
    // bit above bits stored - 1 and would quietly take bits stored - 1.
    const int nAllocated =
        UnsignedOf(ds, gdcm::Tag(0x0028, 0x0100)).value_or(pf.GetBitsAllocated());
    const int nStored = UnsignedOf(ds, gdcm::Tag(0x0028, 0x0101)).value_or(pf.GetBitsStored());
    const int nHighBit = UnsignedOf(ds, gdcm::Tag(0x0028, 0x0102)).value_or(nStored - 1);
    const bool bSigned = UnsignedOf(ds, gdcm::Tag(0x0028, 0x0103)).value_or(0) == 1;
    if (nAllocated != 8 && nAllocated != 16)
        throw Error(path, std::to_string(nAllocated) + " bits allocated; only 8 and 16 are read");
    if (nStored < 1 || nStored > nAllocated || nHighBit >= nAllocated)
        throw Error(path, "bits stored " + std::to_string(nStored) + " and high bit " +
                              std::to_string(nHighBit) + " do not fit " +
                              std::to_string(nAllocated) + " bits allocated");
    if (nHighBit < nStored - 1)
        throw Error(path, "high bit " + std::to_string(nHighBit) + " is below bits stored - 1 (" +
                              std::to_string(nStored - 1) +
                              "): the stored bits would start below bit 0");

    CheckDimensions(path, gi.GetDimension(0), gi.GetDimension(1));
    // GDCM may take the size from a codestream; the header must say the same.
    const int nRows = UnsignedOf(ds, gdcm::Tag(0x0028, 0x0010)).value_or(-1);
    const int nColumns = UnsignedOf(ds, gdcm::Tag(0x0028, 0x0011)).value_or(-1);
    if (nRows != static_cast<int>(gi.GetDimension(1)) ||
        nColumns != static_cast<int>(gi.GetDimension(0)))
        throw Error(path, "the header says " + std::to_string(nColumns) + " x " +
                              std::to_string(nRows) + " pixels, the pixel data " +
                              std::to_string(gi.GetDimension(0)) + " x " +
                              std::to_string(gi.GetDimension(1)));
    image.nWidth = static_cast<int>(gi.GetDimension(0));
    image.nHeight = static_cast<int>(gi.GetDimension(1));
    ReadPixelSize(path, ds, options, image);
    ReadViewAndSide(ds, image);
    const Rescale rescale = ReadRescale(ds, image);
    if (options.bitsStored && *options.bitsStored != nStored)
        image.notes.push_back("--bits " + std::to_string(*options.bitsStored) +
                              " ignored: the file says " + std::to_string(nStored) +
                              " bits stored");

    const std::size_t nCount = image.PixelCount();
    const std::size_t nBytesPerSample = static_cast<std::size_t>(nAllocated / 8);
    const unsigned long nLength = gi.GetBufferLength();
    if (nLength != nCount * nBytesPerSample)
        throw Error(path, "pixel data of " + std::to_string(nLength) + " bytes does not match " +
                              std::to_string(image.nWidth) + " x " + std::to_string(image.nHeight) +
                              " samples of " + std::to_string(nAllocated) + " bits");
    // One pipeline for both allocations: the samples go through 16-bit
    // words (decoded straight into them when 16 bits are allocated) and
    // come back as bytes when at most 8 bits are stored.
    std::vector<unsigned short> words(nCount);
    std::vector<char> bytes(nAllocated == 8 ? nLength : 0);
    char* pDecoded = nAllocated == 8 ? bytes.data() : reinterpret_cast<char*>(words.data());
    const gdcm::TransferSyntax& ts = gi.GetTransferSyntax();
    if (!ts.IsEncapsulated()) {
        // Uncompressed samples are taken as stored: GDCM's own copy reads
        // past a pixel data element shorter than the image, and it clears
        // the bits above a high bit of bits stored - 1, which it assumes.
        const gdcm::ByteValue* bv = gi.GetDataElement().GetByteValue();
        const unsigned long nHeld = bv ? static_cast<unsigned long>(bv->GetLength()) : 0ul;
        // Exactly the samples, and one padding byte to an even length.
        if (nHeld != nLength && nHeld != nLength + 1)
            throw Error(path, "pixel data holds " + std::to_string(nHeld) + " bytes, " +
                                  std::to_string(image.nWidth) + " x " +
                                  std::to_string(image.nHeight) + " samples of " +
                                  std::to_string(nAllocated) + " bits need " +
                                  std::to_string(nLength));
        std::memcpy(pDecoded, bv->GetPointer(), nLength);
    } else {
        if (nHighBit > nStored - 1)
            throw Error(path, "high bit " + std::to_string(nHighBit) + " above bits stored - 1 (" +
                                  std::to_string(nStored - 1) +
                                  ") is read from uncompressed files only");
        CheckCodestream(path, gi, image.nWidth, image.nHeight, nAllocated);
        if (!gi.GetBuffer(pDecoded))
            throw Error(path, "pixel data cannot be decoded (transfer syntax " +
                                  image.transferSyntax + ")");
    }

    if (nAllocated == 8) {
        for (std::size_t i = 0; i < nCount; ++i) words[i] = static_cast<unsigned char>(bytes[i]);
        bytes = std::vector<char>();
    }
    ToLibraryForm(words, image.nWidth, image.nHeight, nStored, nHighBit, bSigned, rescale,
                  bMonochrome1, image);
    if (nStored <= 8) {
        image.nBitsStored = 8;
        image.bytes.assign(words.begin(), words.end());
        if (nStored < 8)
            image.notes.push_back(std::to_string(nStored) + " bits stored kept in an 8-bit image");
    } else {
        image.nBitsStored = nStored;
        image.words = std::move(words);
    }
    return image;
}

// ---- running GDCM apart ----------------------------------------------------------
//
// Debian's GDCM is built with its assertions on, and a malformed file (not
// only a truncated one) can fail one deep inside it, which stops the whole
// process. So the file is decoded in a child process that sends the image
// back through a pipe; if the child dies, the file is reported as one GDCM
// cannot read, and the program carries on.

class PipeWriter {
public:
    explicit PipeWriter(int fd) : fd_(fd) {}
    bool Bytes(const void* p, std::size_t n) {
        const auto* q = static_cast<const char*>(p);
        while (n > 0) {
            const ssize_t k = ::write(fd_, q, n);
            if (k < 0 && errno == EINTR) continue;
            if (k <= 0) return false;
            q += k;
            n -= static_cast<std::size_t>(k);
        }
        return true;
    }
    template <class T>
    bool Value(const T& v) {
        return Bytes(&v, sizeof v);
    }
    bool String(const std::string& s) { return Value(s.size()) && Bytes(s.data(), s.size()); }
    template <class T>
    bool Fact(const std::optional<zetdip::host::Fact<T>>& f) {
        if (!Value(f.has_value())) return false;
        if (!f) return true;
        if constexpr (std::is_same_v<T, std::string>)
            return String(f->value) && String(f->source);
        else
            return Value(f->value) && String(f->source);
    }

private:
    int fd_;
};

class PipeReader {
public:
    explicit PipeReader(int fd) : fd_(fd) {}
    void Bytes(void* p, std::size_t n) {
        auto* q = static_cast<char*>(p);
        while (n > 0) {
            const ssize_t k = ::read(fd_, q, n);
            if (k < 0 && errno == EINTR) continue;
            if (k <= 0) throw Incomplete();
            q += k;
            n -= static_cast<std::size_t>(k);
        }
    }
    template <class T>
    T Value() {
        T v{};
        Bytes(&v, sizeof v);
        return v;
    }
    std::string String() {
        const auto n = Value<std::size_t>();
        if (n > (std::size_t{1} << 20)) throw Incomplete();
        std::string s(n, '\0');
        Bytes(s.data(), n);
        return s;
    }
    template <class T>
    std::optional<zetdip::host::Fact<T>> Fact() {
        if (!Value<bool>()) return std::nullopt;
        zetdip::host::Fact<T> f;
        if constexpr (std::is_same_v<T, std::string>)
            f.value = String();
        else
            f.value = Value<T>();
        f.source = String();
        return f;
    }
    struct Incomplete {};

private:
    int fd_;
};

bool SendImage(PipeWriter& w, const Image& image) {
    bool ok = w.Value('I') && w.Value(image.nWidth) && w.Value(image.nHeight) &&
              w.Value(image.nBitsStored) && w.Fact(image.rowSpacing) &&
              w.Fact(image.columnSpacing) && w.Fact(image.laterality) && w.Fact(image.view) &&
              w.String(image.patientOrientationRow) && w.String(image.patientOrientationColumn) &&
              w.String(image.sopInstanceUid) && w.String(image.photometric) &&
              w.String(image.transferSyntax) && w.Value(image.forProcessing.has_value()) &&
              w.Value(image.forProcessing.value_or(false)) && w.Value(image.notes.size());
    for (const std::string& note : image.notes) ok = ok && w.String(note);
    return ok && w.Bytes(image.bytes.data(), image.bytes.size()) &&
           w.Bytes(image.words.data(), image.words.size() * sizeof(unsigned short));
}

Image ReceiveImage(PipeReader& r, const std::string& path) {
    Image image;
    image.path = path;
    image.format = "DICOM";
    image.nWidth = r.Value<int>();
    image.nHeight = r.Value<int>();
    image.nBitsStored = r.Value<int>();
    if (image.nWidth <= 0 || image.nHeight <= 0 || image.nBitsStored < 8 ||
        image.nBitsStored > 16 || image.PixelCount() > kMaxPixels)
        throw PipeReader::Incomplete();
    image.rowSpacing = r.Fact<double>();
    image.columnSpacing = r.Fact<double>();
    image.laterality = r.Fact<Laterality>();
    image.view = r.Fact<std::string>();
    image.patientOrientationRow = r.String();
    image.patientOrientationColumn = r.String();
    image.sopInstanceUid = r.String();
    image.photometric = r.String();
    image.transferSyntax = r.String();
    const bool bIntent = r.Value<bool>();
    const bool bForProcessing = r.Value<bool>();
    if (bIntent) image.forProcessing = bForProcessing;
    const auto nNotes = r.Value<std::size_t>();
    if (nNotes > 1000) throw PipeReader::Incomplete();
    for (std::size_t i = 0; i < nNotes; ++i) image.notes.push_back(r.String());
    if (image.Is8Bit()) {
        image.bytes.resize(image.PixelCount());
        r.Bytes(image.bytes.data(), image.bytes.size());
    } else {
        image.words.resize(image.PixelCount());
        r.Bytes(image.words.data(), image.words.size() * sizeof(unsigned short));
    }
    return image;
}

// In the child: decode, send the image or the cause, and leave without
// running the parent's exit handlers.
[[noreturn]] void DecodeInChild(int fd, const std::string& path, const ReadOptions& options) {
    PipeWriter w(fd);
    int nStatus = 0;
    try {
        const Image image = Decode(path, options);
        nStatus = SendImage(w, image) ? 0 : 2;
    } catch (const Error& e) {
        nStatus = w.Value('E') && w.String(e.Cause()) ? 0 : 2;
    } catch (const std::bad_alloc&) {
        nStatus = w.Value('E') && w.String("out of memory") ? 0 : 2;
    } catch (const std::exception& e) {
        nStatus = w.Value('E') && w.String(std::string("GDCM: ") + e.what()) ? 0 : 2;
    } catch (...) {
        nStatus = w.Value('E') && w.String("GDCM could not read the file") ? 0 : 2;
    }
    ::close(fd);
    ::_exit(nStatus);
}

Image DecodeApart(const std::string& path, const ReadOptions& options) {
    int fds[2];
    if (::pipe(fds) != 0) throw Error(path, ErrnoText(errno));
    const pid_t pid = ::fork();
    if (pid < 0) {
        const int nErr = errno;
        ::close(fds[0]);
        ::close(fds[1]);
        throw Error(path, ErrnoText(nErr));
    }
    if (pid == 0) {
        ::close(fds[0]);
        DecodeInChild(fds[1], path, options);
    }
    ::close(fds[1]);
    std::optional<Image> image;
    std::string cause;
    try {
        PipeReader r(fds[0]);
        const char kind = r.Value<char>();
        if (kind == 'I')
            image = ReceiveImage(r, path);
        else if (kind == 'E')
            cause = r.String();
    } catch (const PipeReader::Incomplete&) {
    } catch (...) {
        ::close(fds[0]);
        int nIgnored = 0;
        ::waitpid(pid, &nIgnored, 0);
        throw;
    }
    ::close(fds[0]);
    int nStatus = 0;
    while (::waitpid(pid, &nStatus, 0) < 0 && errno == EINTR) {
    }
    const bool bClean = WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0;
    if (bClean && image) return std::move(*image);
    if (bClean && !cause.empty()) throw Error(path, cause);
    throw Error(path, "malformed DICOM file: GDCM stopped while reading it");
}

}  // namespace

Image ReadDicom(const std::string& path, const ReadOptions& options) {
    try {
        CheckDicomStructure(path);
        return DecodeApart(path, options);
    } catch (const Error&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw Error(path, "out of memory");
    } catch (const std::exception& e) {
        throw Error(path, std::string("GDCM: ") + e.what());
    } catch (...) {
        throw Error(path, "GDCM could not read the file");
    }
}

}  // namespace zetdip::host::io

namespace zetdip::host {

std::optional<std::string> WhyNotAMammogram(const std::string& path) {
    try {
        io::SilenceGdcm();
        gdcm::Reader reader;
        reader.SetFileName(path.c_str());
        if (!reader.ReadUpToTag(gdcm::Tag(0x0028, 0x0000), std::set<gdcm::Tag>()))
            return std::string("not a readable DICOM file");
        io::MammogramVerdict verdict = io::JudgeMammogram(reader.GetFile().GetDataSet());
        if (verdict.bTaken) return std::nullopt;
        return std::move(verdict.why);
    } catch (...) {
        return std::string("not a readable DICOM file");
    }
}

}  // namespace zetdip::host
