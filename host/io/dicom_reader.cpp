// DICOM input through GDCM: every transfer syntax GDCM decodes, one grey
// frame of a mammogram, its grey levels brought into the library's form
// and the facts the detection chain needs read from the header.
#include <gdcmDataSet.h>
#include <gdcmImage.h>
#include <gdcmImageReader.h>
#include <gdcmItem.h>
#include <gdcmSequenceOfItems.h>
#include <gdcmTransferSyntax.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>

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

// A decimal string as a finite double; nullopt if it is not one.
std::optional<double> Number(const std::string& s) {
    if (s.empty()) return std::nullopt;
    char* pEnd = nullptr;
    const double d = std::strtod(s.c_str(), &pEnd);
    if (pEnd != s.c_str() + s.size() || !std::isfinite(d)) return std::nullopt;
    return d;
}

std::string Upper(std::string s) {
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

// ---- which images are taken --------------------------------------------------

void CheckIsMammogram(const std::string& path, const gdcm::DataSet& ds, Image& image) {
    const std::string modality = StringOf(ds, "Modality").value_or("");
    const std::string sopClass = StringOf(ds, "SOPClassUID").value_or("");
    if (modality == "MG" || sopClass == kMammographyForPresentation ||
        sopClass == kMammographyForProcessing)
        return;
    // Digitised film mammograms come as secondary captures or radiographs
    // of another modality; the body part says what they show.
    if (Upper(StringOf(ds, "BodyPartExamined").value_or("")) == "BREAST") {
        image.notes.push_back("modality " + (modality.empty() ? std::string("none") : modality) +
                              " taken as a mammogram: Body Part Examined is BREAST");
        return;
    }
    throw Error(path, "not a mammogram: modality " +
                          (modality.empty() ? std::string("not given") : modality));
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

Image Decode(const std::string& path, const ReadOptions& options) {
    CheckDicomStructure(path);
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
    std::vector<char> buffer(nLength);
    if (nHighBit > nStored - 1) {
        // GDCM takes the bits above bits stored for unused ones and clears
        // them while decoding; such files are taken as they are stored,
        // which needs them uncompressed and little-endian.
        const gdcm::TransferSyntax& ts = gi.GetTransferSyntax();
        if (ts.IsEncapsulated() || ts.GetSwapCode() != gdcm::SwapCode::LittleEndian)
            throw Error(path, "high bit " + std::to_string(nHighBit) + " above bits stored - 1 (" +
                                  std::to_string(nStored - 1) +
                                  ") is read from uncompressed little-endian files only");
        const gdcm::ByteValue* bv = gi.GetDataElement().GetByteValue();
        if (!bv || bv->GetLength() < nLength) throw Error(path, "pixel data is truncated");
        std::memcpy(buffer.data(), bv->GetPointer(), nLength);
    } else if (!gi.GetBuffer(buffer.data())) {
        throw Error(path,
                    "pixel data cannot be decoded (transfer syntax " + image.transferSyntax + ")");
    }

    // One pipeline for both allocations: the samples go through 16-bit
    // words and come back as bytes when at most 8 bits are stored.
    std::vector<unsigned short> words(nCount);
    if (nAllocated == 8) {
        for (std::size_t i = 0; i < nCount; ++i) words[i] = static_cast<unsigned char>(buffer[i]);
    } else {
        std::memcpy(words.data(), buffer.data(), nLength);  // GDCM decodes to native order
    }
    buffer.clear();
    buffer.shrink_to_fit();
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

}  // namespace

Image ReadDicom(const std::string& path, const ReadOptions& options) {
    try {
        return Decode(path, options);
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
