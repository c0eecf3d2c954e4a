// DICOM output through GDCM: an uncompressed image built from the fixture,
// then recoded by GDCM when another transfer syntax is asked for.
#include <gdcmDataElement.h>
#include <gdcmFileMetaInformation.h>
#include <gdcmImage.h>
#include <gdcmImageChangeTransferSyntax.h>
#include <gdcmImageWriter.h>
#include <gdcmItem.h>
#include <gdcmSequenceOfItems.h>
#include <gdcmTrace.h>
#include <gdcmTransferSyntax.h>
#include <gdcmUIDGenerator.h>
#include <gdcmWriter.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <new>

#include "core/error.h"
#include "io/dicom_common.h"
#include "io/io_common.h"
#include "io/write_image.h"

namespace zetdip::host {

namespace io {

void SilenceGdcm() {
    gdcm::Trace::SetDebug(false);
    gdcm::Trace::SetWarning(false);
    gdcm::Trace::SetError(false);
}

std::optional<gdcm::Tag> TagOfKeyword(const std::string& keyword) {
    struct Entry {
        const char* keyword;
        std::uint16_t group;
        std::uint16_t element;
    };
    static constexpr Entry kEntries[] = {
        {"ImagerPixelSpacing", 0x0018, 0x1164},
        {"PixelSpacing", 0x0028, 0x0030},
        {"NominalScannedPixelSpacing", 0x0018, 0x2010},
        {"SpatialResolution", 0x0018, 0x1050},
        {"ImageLaterality", 0x0020, 0x0062},
        {"Laterality", 0x0020, 0x0060},
        {"ViewPosition", 0x0018, 0x5101},
        {"PatientOrientation", 0x0020, 0x0020},
        {"PresentationIntentType", 0x0008, 0x0068},
        {"RescaleSlope", 0x0028, 0x1053},
        {"RescaleIntercept", 0x0028, 0x1052},
        {"BodyPartExamined", 0x0018, 0x0015},
        {"SOPInstanceUID", 0x0008, 0x0018},
        {"SOPClassUID", 0x0008, 0x0016},
        {"Modality", 0x0008, 0x0060},
    };
    for (const Entry& e : kEntries)
        if (keyword == e.keyword) return gdcm::Tag(e.group, e.element);
    return std::nullopt;
}

}  // namespace io

namespace {

gdcm::VR VrOf(const gdcm::Tag& tag) {
    if (tag == gdcm::Tag(0x0008, 0x0018) || tag == gdcm::Tag(0x0008, 0x0016)) return gdcm::VR::UI;
    if (tag == gdcm::Tag(0x0018, 0x1164) || tag == gdcm::Tag(0x0028, 0x0030) ||
        tag == gdcm::Tag(0x0018, 0x2010) || tag == gdcm::Tag(0x0018, 0x1050) ||
        tag == gdcm::Tag(0x0028, 0x1053) || tag == gdcm::Tag(0x0028, 0x1052))
        return gdcm::VR::DS;
    return gdcm::VR::CS;
}

// A string element padded to even length as DICOM requires: UIDs with a
// NUL, text with a space.
gdcm::DataElement StringElement(const gdcm::Tag& tag, gdcm::VR vr, std::string value) {
    if (value.size() % 2 != 0) value.push_back(vr == gdcm::VR::UI ? '\0' : ' ');
    gdcm::DataElement de(tag);
    de.SetVR(vr);
    de.SetByteValue(value.data(), static_cast<std::uint32_t>(value.size()));
    return de;
}

void Put(gdcm::DataSet& ds, const std::string& keyword, const std::string& value,
         const std::string& path) {
    const auto tag = io::TagOfKeyword(keyword);
    if (!tag) throw Error(path, "cannot write DICOM attribute " + keyword);
    ds.Replace(StringElement(*tag, VrOf(*tag), value));
}

void PutViewCode(gdcm::DataSet& ds, const std::string& value, const std::string& meaning) {
    gdcm::Item item;
    item.SetVLToUndefined();
    gdcm::DataSet& nested = item.GetNestedDataSet();
    nested.Insert(StringElement(gdcm::Tag(0x0008, 0x0100), gdcm::VR::SH, value));
    nested.Insert(StringElement(gdcm::Tag(0x0008, 0x0102), gdcm::VR::SH, "SRT"));
    nested.Insert(StringElement(gdcm::Tag(0x0008, 0x0104), gdcm::VR::LO, meaning));
    gdcm::SmartPointer<gdcm::SequenceOfItems> sq = new gdcm::SequenceOfItems();
    sq->SetLengthToUndefined();
    sq->AddItem(item);
    gdcm::DataElement de(gdcm::Tag(0x0054, 0x0220));
    de.SetVR(gdcm::VR::SQ);
    de.SetValue(*sq);
    de.SetVLToUndefined();
    ds.Replace(de);
}

void CheckFixture(const std::string& path, const DicomFixture& f) {
    io::CheckDimensions(path, f.nWidth, f.nHeight);
    if (f.nFrames < 1 || f.nSamplesPerPixel < 1 || f.nSamplesPerPixel > 4)
        throw Error(path, "DICOM fixture needs at least one frame and 1..4 samples per pixel");
    if (f.nBitsAllocated != 8 && f.nBitsAllocated != 16)
        throw Error(path, "DICOM fixture needs 8 or 16 bits allocated");
    const std::size_t nSamples =
        static_cast<std::size_t>(f.nWidth) * static_cast<std::size_t>(f.nHeight) *
        static_cast<std::size_t>(f.nFrames) * static_cast<std::size_t>(f.nSamplesPerPixel);
    const std::size_t nGiven = f.nBitsAllocated == 8 ? f.bytes.size() : f.words.size();
    if (nGiven != nSamples)
        throw Error(path, "DICOM fixture has " + std::to_string(nGiven) +
                              " samples, its size needs " + std::to_string(nSamples));
}

void WriteFixture(const std::string& path, const DicomFixture& f) {
    CheckFixture(path, f);
    io::SilenceGdcm();

    gdcm::SmartPointer<gdcm::Image> image = new gdcm::Image();
    image->SetNumberOfDimensions(f.nFrames > 1 ? 3 : 2);
    image->SetDimension(0, static_cast<unsigned>(f.nWidth));
    image->SetDimension(1, static_cast<unsigned>(f.nHeight));
    if (f.nFrames > 1) image->SetDimension(2, static_cast<unsigned>(f.nFrames));
    // GDCM's pixel format holds no high bit at or above bits stored; such a
    // file gets its High Bit element rewritten after GDCM has written it.
    const bool bHighBitAbove = f.nHighBit > f.nBitsStored - 1;
    if (bHighBitAbove && !f.transferSyntaxUid.empty() &&
        f.transferSyntaxUid != "1.2.840.10008.1.2.1" && f.transferSyntaxUid != "1.2.840.10008.1.2")
        throw Error(
            path,
            "a high bit above bits stored - 1 is written uncompressed and little-endian only");
    if (f.nBitsStored < 1 || f.nBitsStored > f.nBitsAllocated || f.nHighBit < 0 ||
        f.nHighBit >= f.nBitsAllocated)
        throw Error(path, "DICOM fixture bits stored and high bit do not fit the bits allocated");
    image->SetPixelFormat(gdcm::PixelFormat(
        static_cast<unsigned short>(f.nSamplesPerPixel),
        static_cast<unsigned short>(f.nBitsAllocated), static_cast<unsigned short>(f.nBitsStored),
        static_cast<unsigned short>(bHighBitAbove ? f.nBitsStored - 1 : f.nHighBit),
        static_cast<unsigned short>(f.nPixelRepresentation)));
    const auto pi = gdcm::PhotometricInterpretation::GetPIType(f.photometric.c_str());
    if (pi == gdcm::PhotometricInterpretation::UNKNOWN)
        throw Error(path, "unknown photometric interpretation " + f.photometric);
    image->SetPhotometricInterpretation(pi);
    if (f.nSamplesPerPixel > 1) image->SetPlanarConfiguration(0);
    image->SetTransferSyntax(gdcm::TransferSyntax::ExplicitVRLittleEndian);
    gdcm::DataElement pixels(gdcm::Tag(0x7fe0, 0x0010));
    if (f.nBitsAllocated == 8) {
        pixels.SetByteValue(reinterpret_cast<const char*>(f.bytes.data()),
                            static_cast<std::uint32_t>(f.bytes.size()));
    } else {
        // Explicit little endian on the wire; the words are native.
        std::vector<char> le(2 * f.words.size());
        for (std::size_t i = 0; i < f.words.size(); ++i) {
            le[2 * i] = static_cast<char>(f.words[i] & 0xFF);
            le[2 * i + 1] = static_cast<char>(f.words[i] >> 8);
        }
        pixels.SetByteValue(le.data(), static_cast<std::uint32_t>(le.size()));
    }
    image->SetDataElement(pixels);

    gdcm::ImageWriter writer;
    // GDCM's RLE encoder stops the program on an odd number of 8-bit samples.
    if (f.transferSyntaxUid == "1.2.840.10008.1.2.5" && f.nBitsAllocated == 8 &&
        (static_cast<std::size_t>(f.nWidth) * static_cast<std::size_t>(f.nHeight)) % 2 != 0)
        throw Error(path, "GDCM cannot RLE-encode an odd number of 8-bit samples");
    // Its JPEG 2000 encoder corrupts memory on very small images.
    if (f.transferSyntaxUid.rfind("1.2.840.10008.1.2.4.9", 0) == 0 &&
        (f.nWidth < 16 || f.nHeight < 16))
        throw Error(path, "GDCM cannot JPEG 2000-encode an image smaller than 16 x 16");
    if (!f.transferSyntaxUid.empty()) {
        const auto ts = gdcm::TransferSyntax::GetTSType(f.transferSyntaxUid.c_str());
        if (ts == gdcm::TransferSyntax::TS_END)
            throw Error(path, "unknown transfer syntax " + f.transferSyntaxUid);
        gdcm::ImageChangeTransferSyntax change;
        change.SetTransferSyntax(ts);
        change.SetInput(*image);
        if (!change.Change())
            throw Error(
                path, "GDCM cannot encode this image with transfer syntax " + f.transferSyntaxUid);
        writer.SetImage(change.GetOutput());
    } else {
        writer.SetImage(*image);
    }

    // GDCM's image writer fills in what the storage class needs (and a
    // pixel spacing of its own); it is given a mammography class it knows,
    // and the fixture's own elements then replace what it wrote, so the
    // file says exactly what the fixture says.
    gdcm::DataSet& ds = writer.GetFile().GetDataSet();
    const bool bMammogramLike = f.nFrames == 1 && f.nSamplesPerPixel == 1;
    Put(ds, "Modality", bMammogramLike ? "MG" : f.nFrames > 1 ? "NM" : "OT", path);
    Put(ds, "SOPClassUID",
        bMammogramLike  ? io::kMammographyForPresentation
        : f.nFrames > 1 ? "1.2.840.10008.5.1.4.1.1.20"  // nuclear medicine, multi-frame
                        : "1.2.840.10008.5.1.4.1.1.7",  // secondary capture
        path);

    io::WriteThroughTemporary(path, [&](const std::string& tmp) {
        // GDCM stops the program when it cannot open its output file, so
        // the file is created here first.
        std::FILE* pProbe = std::fopen(tmp.c_str(), "wb");
        if (!pProbe) throw Error(path, io::ErrnoText(errno));
        std::fclose(pProbe);
        writer.SetFileName(tmp.c_str());
        errno = 0;
        if (!writer.Write())
            throw Error(path, errno ? io::ErrnoText(errno) : "GDCM could not write the file");

        for (const char* keyword : {"ImagerPixelSpacing", "PixelSpacing",
                                    "NominalScannedPixelSpacing", "SpatialResolution"})
            ds.Remove(*io::TagOfKeyword(keyword));
        Put(ds, "Modality", f.modality, path);
        Put(ds, "SOPClassUID", f.sopClassUid, path);
        gdcm::UIDGenerator uid;
        Put(ds, "SOPInstanceUID", uid.Generate(), path);
        for (const auto& [keyword, value] : f.attributes) Put(ds, keyword, value, path);
        if (!f.viewCodeValue.empty() || !f.viewCodeMeaning.empty())
            PutViewCode(ds, f.viewCodeValue, f.viewCodeMeaning);
        if (bHighBitAbove) {
            const unsigned char highBit[2] = {static_cast<unsigned char>(f.nHighBit), 0};
            gdcm::DataElement de(gdcm::Tag(0x0028, 0x0102));
            de.SetVR(gdcm::VR::US);
            de.SetByteValue(reinterpret_cast<const char*>(highBit), 2);
            ds.Replace(de);
        }
        // The file meta information is filled in again from the data set.
        gdcm::FileMetaInformation& meta = writer.GetFile().GetHeader();
        meta.Remove(gdcm::Tag(0x0002, 0x0002));
        meta.Remove(gdcm::Tag(0x0002, 0x0003));
        gdcm::Writer rewrite;
        rewrite.SetFile(writer.GetFile());
        rewrite.SetFileName(tmp.c_str());
        if (!rewrite.Write())
            throw Error(path, errno ? io::ErrnoText(errno) : "GDCM could not write the file");
    });
}

// A decimal string of at most 16 characters, whatever the locale.
std::string FormatDs(double d) {
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, d, std::chars_format::general, 10);
    return std::string(text, result.ptr);
}

}  // namespace

void WriteDicom(const std::string& path, const DicomFixture& fixture) {
    WithFileErrors(
        path, [&] { WriteFixture(path, fixture); }, "GDCM could not write the file");
}

void WriteDicom(const std::string& path, const Image& image, const std::string& transferSyntaxUid) {
    if (image.nBitsStored < 8 || image.nBitsStored > 16)
        throw Error(path, "image has no valid bits stored");
    DicomFixture f;
    f.nWidth = image.nWidth;
    f.nHeight = image.nHeight;
    f.nBitsAllocated = image.Is8Bit() ? 8 : 16;
    f.nBitsStored = image.nBitsStored;
    f.nHighBit = image.nBitsStored - 1;
    f.bytes = image.bytes;
    f.words = image.words;
    f.transferSyntaxUid = transferSyntaxUid;
    if (image.forProcessing && *image.forProcessing) {
        f.sopClassUid = io::kMammographyForProcessing;
        f.attributes.emplace_back("PresentationIntentType", "FOR PROCESSING");
    } else {
        f.attributes.emplace_back("PresentationIntentType", "FOR PRESENTATION");
    }
    if (image.rowSpacing && image.columnSpacing)
        f.attributes.emplace_back("ImagerPixelSpacing", FormatDs(image.rowSpacing->value) + "\\" +
                                                            FormatDs(image.columnSpacing->value));
    if (image.laterality)
        f.attributes.emplace_back("ImageLaterality", ToString(image.laterality->value));
    if (image.view) f.attributes.emplace_back("ViewPosition", image.view->value);
    if (!image.patientOrientationRow.empty() && !image.patientOrientationColumn.empty())
        f.attributes.emplace_back("PatientOrientation", image.patientOrientationRow + "\\" +
                                                            image.patientOrientationColumn);
    WriteDicom(path, f);
}

}  // namespace zetdip::host
