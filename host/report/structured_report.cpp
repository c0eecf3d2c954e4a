// The Mammography CAD SR follows the document template for mammography CAD
// (TID 4000): an image library with the one source image, the processing
// summary holding one individual impression per cluster, and the summaries
// of the detections and analyses that were performed. Content items refer
// to the image library entry by reference (its position 1.1.1 in the tree)
// rather than repeating the image reference in every coordinate.
#include "report/structured_report.h"

#include <gdcmDataSet.h>
#include <gdcmFile.h>
#include <gdcmItem.h>
#include <gdcmReader.h>
#include <gdcmSequenceOfItems.h>
#include <gdcmUIDGenerator.h>
#include <gdcmWriter.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <optional>
#include <utility>

#include "core/error.h"

namespace zetdip::host {
namespace {

constexpr const char* kMammographyCadSrSopClass = "1.2.840.10008.5.1.4.1.1.88.50";

// After the acquisition series, so that viewers list the report last.
constexpr const char* kReportSeriesNumber = "900";

struct Code {
    std::string value, scheme, meaning;
};

// Concept names, each fixed by the template row that uses it.
const Code kMammographyCadReport{"111036", "DCM", "Mammography CAD Report"};
const Code kImageLibrary{"111028", "DCM", "Image Library"};
const Code kImageLaterality{"111027", "DCM", "Image Laterality"};
const Code kImageView{"111031", "DCM", "Image View"};
const Code kHorizontalPixelSpacing{"111026", "DCM", "Horizontal Pixel Spacing"};
const Code kVerticalPixelSpacing{"111066", "DCM", "Vertical Pixel Spacing"};
const Code kFindingsSummary{"111017", "DCM", "CAD Processing and Findings Summary"};
const Code kIndividualImpression{"111034", "DCM", "Individual Impression/Recommendation"};
const Code kRenderingIntent{"111056", "DCM", "Rendering Intent"};
const Code kSingleImageFinding{"111059", "DCM", "Single Image Finding"};
const Code kAlgorithmName{"111001", "DCM", "Algorithm Name"};
const Code kAlgorithmVersion{"111003", "DCM", "Algorithm Version"};
const Code kNumberOfCalcifications{"111038", "DCM", "Number of calcifications"};
const Code kCenter{"111010", "DCM", "Center"};
const Code kOutline{"111041", "DCM", "Outline"};
const Code kSummaryOfDetections{"111064", "DCM", "Summary of Detections"};
const Code kSuccessfulDetections{"111063", "DCM", "Successful Detections"};
const Code kDetectionPerformed{"111022", "DCM", "Detection Performed"};
const Code kSummaryOfAnalyses{"111065", "DCM", "Summary of Analyses"};
const Code kSuccessfulAnalyses{"111062", "DCM", "Successful Analyses"};
const Code kAnalysisPerformed{"111004", "DCM", "Analysis Performed"};

// CID 6047 CAD Processing and Findings Summary.
const Code kSucceededWithoutFindings{"111241", "DCM", "All algorithms succeeded; without findings"};
const Code kSucceededWithFindings{"111242", "DCM", "All algorithms succeeded; with findings"};
// CID 6042 Status of Results.
const Code kSucceeded{"111222", "DCM", "Succeeded"};
// CID 6034 Intended Use of CAD Output.
const Code kPresentationRequired{"111150", "DCM",
                                 "Presentation Required: Rendering device is expected to present"};
// CID 6014 Mammography Single Image Finding.
const Code kCalcificationCluster{"129769006", "SCT", "Calcification Cluster"};
// CID 6043 Types of Mammography CAD Analysis.
const Code kIndividualImpressionAnalysis{"111233", "DCM",
                                         "Individual Impression / Recommendation Analysis"};
// CID 6022 Side.
const Code kLeft{"7771000", "SCT", "Left"};
const Code kRight{"24028007", "SCT", "Right"};
// CID 4014 View for Mammography, for sources that give only View Position.
const Code kMlo{"399368009", "SCT", "medio-lateral oblique"};
const Code kCc{"399162004", "SCT", "cranio-caudal"};
// CID 7181 Abstract Multi-dimensional Image Model Component Units (UCUM).
const Code kMicrometre{"um", "UCUM", "micrometer"};
const Code kNoUnits{"1", "UCUM", "no units"};

// A content item before it becomes a sequence item. A by-reference item has
// only a relationship and the position of its target.
struct Node {
    std::string relationship;  // empty for the root
    std::string valueType;     // empty for a by-reference item
    Code concept;
    std::string text;                   // TEXT
    std::optional<Code> code;           // CODE
    std::string number;                 // NUM, as a DS string
    Code units;                         // NUM
    std::string graphicType;            // SCOORD
    std::vector<float> graphicData;     // SCOORD
    std::string sopClass, sopInstance;  // IMAGE
    std::vector<std::uint32_t> target;  // by reference
    std::vector<Node> children;

    Node& Add(Node child) {
        children.push_back(std::move(child));
        return children.back();
    }
};

Node Container(const char* relationship, const Code& concept) {
    Node n;
    n.relationship = relationship;
    n.valueType = "CONTAINER";
    n.concept = concept;
    return n;
}

Node CodeItem(const char* relationship, const Code& concept, const Code& value) {
    Node n;
    n.relationship = relationship;
    n.valueType = "CODE";
    n.concept = concept;
    n.code = value;
    return n;
}

Node TextItem(const char* relationship, const Code& concept, std::string text) {
    Node n;
    n.relationship = relationship;
    n.valueType = "TEXT";
    n.concept = concept;
    n.text = std::move(text);
    return n;
}

// DS holds at most 16 characters; six significant digits always fit.
std::string DecimalString(double d) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.6g", d);
    return buffer;
}

Node NumItem(const char* relationship, const Code& concept, double value, const Code& units) {
    Node n;
    n.relationship = relationship;
    n.valueType = "NUM";
    n.concept = concept;
    n.number = DecimalString(value);
    n.units = units;
    return n;
}

Node Reference(const char* relationship, std::vector<std::uint32_t> target) {
    Node n;
    n.relationship = relationship;
    n.target = std::move(target);
    return n;
}

// The image library's one entry: root 1, library 1, entry 1.
const std::vector<std::uint32_t> kSourceImageItem{1, 1, 1};

Node Scoord(const Code& concept, const char* graphicType, std::vector<float> data) {
    Node n;
    n.relationship = "HAS PROPERTIES";
    n.valueType = "SCOORD";
    n.concept = concept;
    n.graphicType = graphicType;
    n.graphicData = std::move(data);
    n.Add(Reference("SELECTED FROM", kSourceImageItem));
    return n;
}

// ---- GDCM data elements

gdcm::DataElement Bytes(const gdcm::Tag& tag, gdcm::VR vr, std::string value) {
    if (value.size() % 2 != 0) value.push_back(vr == gdcm::VR::UI ? '\0' : ' ');
    gdcm::DataElement de(tag);
    de.SetVR(vr);
    de.SetByteValue(value.data(), static_cast<std::uint32_t>(value.size()));
    return de;
}

template <class T>
gdcm::DataElement Binary(const gdcm::Tag& tag, gdcm::VR vr, const std::vector<T>& values) {
    gdcm::DataElement de(tag);
    de.SetVR(vr);
    de.SetByteValue(reinterpret_cast<const char*>(values.data()),
                    static_cast<std::uint32_t>(values.size() * sizeof(T)));
    return de;
}

gdcm::DataElement Sequence(const gdcm::Tag& tag, const std::vector<gdcm::DataSet>& items) {
    gdcm::SmartPointer<gdcm::SequenceOfItems> sq = new gdcm::SequenceOfItems;
    sq->SetLengthToUndefined();
    for (const gdcm::DataSet& ds : items) {
        gdcm::Item item;
        item.SetVLToUndefined();
        item.SetNestedDataSet(ds);
        sq->AddItem(item);
    }
    gdcm::DataElement de(tag);
    de.SetVR(gdcm::VR::SQ);
    de.SetValue(*sq);
    de.SetVLToUndefined();
    return de;
}

gdcm::DataSet CodeDataSet(const Code& code) {
    gdcm::DataSet ds;
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0100), gdcm::VR::SH, code.value));
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0102), gdcm::VR::SH, code.scheme));
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0104), gdcm::VR::LO, code.meaning));
    return ds;
}

gdcm::DataElement CodeSequence(const gdcm::Tag& tag, const Code& code) {
    return Sequence(tag, {CodeDataSet(code)});
}

gdcm::DataElement SopReference(const gdcm::Tag& tag, const std::string& sopClass,
                               const std::string& sopInstance) {
    gdcm::DataSet ds;
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x1150), gdcm::VR::UI, sopClass));
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x1155), gdcm::VR::UI, sopInstance));
    return Sequence(tag, {ds});
}

// The content item's own attributes (value, concept name, children) into ds.
void PutContent(const Node& n, gdcm::DataSet& ds);

gdcm::DataSet ContentItem(const Node& n) {
    gdcm::DataSet ds;
    ds.Insert(Bytes(gdcm::Tag(0x0040, 0xa010), gdcm::VR::CS, n.relationship));
    if (n.valueType.empty()) {
        ds.Insert(Binary(gdcm::Tag(0x0040, 0xdb73), gdcm::VR::UL, n.target));
        return ds;
    }
    PutContent(n, ds);
    return ds;
}

void PutContent(const Node& n, gdcm::DataSet& ds) {
    ds.Insert(Bytes(gdcm::Tag(0x0040, 0xa040), gdcm::VR::CS, n.valueType));
    if (!n.concept.value.empty()) ds.Insert(CodeSequence(gdcm::Tag(0x0040, 0xa043), n.concept));
    if (n.valueType == "CONTAINER") {
        ds.Insert(Bytes(gdcm::Tag(0x0040, 0xa050), gdcm::VR::CS, "SEPARATE"));
    } else if (n.valueType == "TEXT") {
        ds.Insert(Bytes(gdcm::Tag(0x0040, 0xa160), gdcm::VR::UT, n.text));
    } else if (n.valueType == "CODE") {
        ds.Insert(CodeSequence(gdcm::Tag(0x0040, 0xa168), *n.code));
    } else if (n.valueType == "NUM") {
        gdcm::DataSet value;
        value.Insert(CodeSequence(gdcm::Tag(0x0040, 0x08ea), n.units));
        value.Insert(Bytes(gdcm::Tag(0x0040, 0xa30a), gdcm::VR::DS, n.number));
        ds.Insert(Sequence(gdcm::Tag(0x0040, 0xa300), {value}));
    } else if (n.valueType == "SCOORD") {
        ds.Insert(Binary(gdcm::Tag(0x0070, 0x0022), gdcm::VR::FL, n.graphicData));
        ds.Insert(Bytes(gdcm::Tag(0x0070, 0x0023), gdcm::VR::CS, n.graphicType));
    } else if (n.valueType == "IMAGE") {
        ds.Insert(SopReference(gdcm::Tag(0x0008, 0x1199), n.sopClass, n.sopInstance));
    }
    if (!n.children.empty()) {
        std::vector<gdcm::DataSet> items;
        for (const Node& child : n.children) items.push_back(ContentItem(child));
        ds.Insert(Sequence(gdcm::Tag(0x0040, 0xa730), items));
    }
}

// ---- the source image

std::string Trimmed(const gdcm::DataSet& ds, const gdcm::Tag& tag) {
    if (!ds.FindDataElement(tag)) return "";
    const gdcm::ByteValue* bv = ds.GetDataElement(tag).GetByteValue();
    if (bv == nullptr) return "";
    std::string s(bv->GetPointer(), bv->GetLength());
    while (!s.empty() && (s.back() == ' ' || s.back() == '\0')) s.pop_back();
    while (!s.empty() && s.front() == ' ') s.erase(s.begin());
    return s;
}

std::string Required(const gdcm::DataSet& ds, const gdcm::Tag& tag, const char* keyword,
                     const std::string& path) {
    std::string s = Trimmed(ds, tag);
    if (s.empty())
        throw Error(path, std::string("no ") + keyword + "; a report must reference the image");
    return s;
}

// Row and column spacing from a decimal string "row\column".
std::optional<std::pair<double, double>> SpacingPair(const std::string& s) {
    double row = 0.0, column = 0.0;
    if (std::sscanf(s.c_str(), "%lf\\%lf", &row, &column) != 2 || row <= 0 || column <= 0)
        return std::nullopt;
    return std::make_pair(row, column);
}

// The source's identity that the report repeats: patient, study and the
// character set their names are written in. Type 2 attributes are written
// empty when the source has none.
struct Copied {
    std::uint16_t group, element;
    const char* vr;
    bool bType2;
};
const Copied kCopied[] = {
    {0x0008, 0x0005, "CS", false},  // Specific Character Set
    {0x0008, 0x0020, "DA", true},   // Study Date
    {0x0008, 0x0030, "TM", true},   // Study Time
    {0x0008, 0x0050, "SH", true},   // Accession Number
    {0x0008, 0x0090, "PN", true},   // Referring Physician's Name
    {0x0008, 0x1030, "LO", false},  // Study Description
    {0x0010, 0x0010, "PN", true},   // Patient's Name
    {0x0010, 0x0020, "LO", true},   // Patient ID
    {0x0010, 0x0021, "LO", false},  // Issuer of Patient ID
    {0x0010, 0x0030, "DA", true},   // Patient's Birth Date
    {0x0010, 0x0040, "CS", true},   // Patient's Sex
    {0x0010, 0x1010, "AS", false},  // Patient's Age
    {0x0020, 0x0010, "SH", true},   // Study ID
};

void CopyIdentity(const gdcm::DataSet& source, gdcm::DataSet& report) {
    for (const Copied& c : kCopied) {
        const gdcm::Tag tag(c.group, c.element);
        const gdcm::VR vr = gdcm::VR::GetVRType(c.vr);
        const gdcm::ByteValue* bv =
            source.FindDataElement(tag) ? source.GetDataElement(tag).GetByteValue() : nullptr;
        if (bv != nullptr && bv->GetLength() > 0)
            report.Insert(Bytes(tag, vr, std::string(bv->GetPointer(), bv->GetLength())));
        else if (c.bType2)
            report.Insert(Bytes(tag, vr, ""));
    }
}

std::optional<Code> LateralityCode(const gdcm::DataSet& ds) {
    std::string s = Trimmed(ds, gdcm::Tag(0x0020, 0x0062));     // Image Laterality
    if (s.empty()) s = Trimmed(ds, gdcm::Tag(0x0020, 0x0060));  // Laterality
    if (s == "L") return kLeft;
    if (s == "R") return kRight;
    return std::nullopt;
}

// The source's own view code when it has one; else its View Position.
std::optional<Code> ViewCode(const gdcm::DataSet& ds) {
    const gdcm::Tag viewCodeSequence(0x0054, 0x0220);
    if (ds.FindDataElement(viewCodeSequence)) {
        gdcm::SmartPointer<gdcm::SequenceOfItems> sq =
            ds.GetDataElement(viewCodeSequence).GetValueAsSQ();
        if (sq && sq->GetNumberOfItems() > 0) {
            const gdcm::DataSet& item = sq->GetItem(1).GetNestedDataSet();
            Code c{Trimmed(item, gdcm::Tag(0x0008, 0x0100)),
                   Trimmed(item, gdcm::Tag(0x0008, 0x0102)),
                   Trimmed(item, gdcm::Tag(0x0008, 0x0104))};
            if (!c.value.empty() && !c.scheme.empty() && !c.meaning.empty()) return c;
        }
    }
    const std::string position = Trimmed(ds, gdcm::Tag(0x0018, 0x5101));
    if (position == "MLO") return kMlo;
    if (position == "CC") return kCc;
    return std::nullopt;
}

std::string Now(const char* format) {
    const std::time_t t = std::time(nullptr);
    std::tm local{};
    localtime_r(&t, &local);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, format, &local);
    return buffer;
}

}  // namespace

void WriteMammographyCadSr(const std::string& sourceDicomPath,
                           const std::vector<SrCluster>& clusters, const std::string& outPath,
                           const SrAlgorithm& algorithm) {
    gdcm::Reader reader;
    reader.SetFileName(sourceDicomPath.c_str());
    if (!reader.ReadUpToTag(gdcm::Tag(0x7fe0, 0x0010)))
        throw Error(sourceDicomPath, "not a DICOM file that could be read");
    const gdcm::DataSet& source = reader.GetFile().GetDataSet();
    const std::string sopClass =
        Required(source, gdcm::Tag(0x0008, 0x0016), "SOPClassUID", sourceDicomPath);
    const std::string sopInstance =
        Required(source, gdcm::Tag(0x0008, 0x0018), "SOPInstanceUID", sourceDicomPath);
    const std::string study =
        Required(source, gdcm::Tag(0x0020, 0x000d), "StudyInstanceUID", sourceDicomPath);
    const std::string series =
        Required(source, gdcm::Tag(0x0020, 0x000e), "SeriesInstanceUID", sourceDicomPath);

    // Image library.
    Node root;
    root.valueType = "CONTAINER";
    root.concept = kMammographyCadReport;
    Node& library = root.Add(Container("CONTAINS", kImageLibrary));
    Node image;
    image.relationship = "CONTAINS";
    image.valueType = "IMAGE";
    image.sopClass = sopClass;
    image.sopInstance = sopInstance;
    if (auto laterality = LateralityCode(source))
        image.Add(CodeItem("HAS ACQ CONTEXT", kImageLaterality, *laterality));
    if (auto view = ViewCode(source)) image.Add(CodeItem("HAS ACQ CONTEXT", kImageView, *view));
    std::string spacing = Trimmed(source, gdcm::Tag(0x0028, 0x0030));           // Pixel Spacing
    if (spacing.empty()) spacing = Trimmed(source, gdcm::Tag(0x0018, 0x1164));  // Imager
    if (auto rowColumn = SpacingPair(spacing)) {
        image.Add(NumItem("HAS ACQ CONTEXT", kHorizontalPixelSpacing, rowColumn->second * 1000.0,
                          kMicrometre));
        image.Add(NumItem("HAS ACQ CONTEXT", kVerticalPixelSpacing, rowColumn->first * 1000.0,
                          kMicrometre));
    }
    library.Add(std::move(image));

    // The summary is inferred from one impression per cluster, each holding its
    // finding.
    Node& summary =
        root.Add(CodeItem("CONTAINS", kFindingsSummary,
                          clusters.empty() ? kSucceededWithoutFindings : kSucceededWithFindings));
    for (const SrCluster& c : clusters) {
        Node& impression = summary.Add(Container("INFERRED FROM", kIndividualImpression));
        impression.Add(CodeItem("HAS CONCEPT MOD", kRenderingIntent, kPresentationRequired));
        Node& finding =
            impression.Add(CodeItem("CONTAINS", kSingleImageFinding, kCalcificationCluster));
        finding.Add(CodeItem("HAS CONCEPT MOD", kRenderingIntent, kPresentationRequired));
        finding.Add(TextItem("HAS PROPERTIES", kAlgorithmName, algorithm.name));
        finding.Add(TextItem("HAS PROPERTIES", kAlgorithmVersion, algorithm.version));
        if (c.members > 0)
            finding.Add(NumItem("HAS PROPERTIES", kNumberOfCalcifications, c.members, kNoUnits));
        const float cx = static_cast<float>(c.x + 0.5);
        const float cy = static_cast<float>(c.y + 0.5);
        const float rimX = static_cast<float>(c.x + 0.5 + c.radius);
        finding.Add(Scoord(kCenter, "POINT", {cx, cy}));
        finding.Add(Scoord(kOutline, "CIRCLE", {cx, cy, rimX, cy}));
    }

    // What ran, and on which image.
    Node& detections = root.Add(CodeItem("CONTAINS", kSummaryOfDetections, kSucceeded));
    Node& successfulDetections = detections.Add(Container("INFERRED FROM", kSuccessfulDetections));
    Node& detection =
        successfulDetections.Add(CodeItem("CONTAINS", kDetectionPerformed, kCalcificationCluster));
    Node& analyses = root.Add(CodeItem("CONTAINS", kSummaryOfAnalyses, kSucceeded));
    Node& successfulAnalyses = analyses.Add(Container("INFERRED FROM", kSuccessfulAnalyses));
    Node& analysis = successfulAnalyses.Add(
        CodeItem("CONTAINS", kAnalysisPerformed, kIndividualImpressionAnalysis));
    for (Node* performed : {&detection, &analysis}) {
        performed->Add(TextItem("HAS PROPERTIES", kAlgorithmName, algorithm.name));
        performed->Add(TextItem("HAS PROPERTIES", kAlgorithmVersion, algorithm.version));
        performed->Add(Reference("INFERRED FROM", kSourceImageItem));
    }

    gdcm::UIDGenerator uids;
    const std::string date = Now("%Y%m%d"), time = Now("%H%M%S");
    gdcm::DataSet ds;
    CopyIdentity(source, ds);
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0012), gdcm::VR::DA, date));  // Instance Creation
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0013), gdcm::VR::TM, time));
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0016), gdcm::VR::UI, kMammographyCadSrSopClass));
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0018), gdcm::VR::UI, uids.Generate()));
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0023), gdcm::VR::DA, date));  // Content
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0033), gdcm::VR::TM, time));
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0060), gdcm::VR::CS, "SR"));
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x0070), gdcm::VR::LO, "ZetDIP"));
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x103e), gdcm::VR::LO, "CAD " + algorithm.name));
    ds.Insert(Sequence(gdcm::Tag(0x0008, 0x1111), {}));  // Referenced Performed Procedure Step
    ds.Insert(Bytes(gdcm::Tag(0x0008, 0x1090), gdcm::VR::LO, algorithm.name));
    ds.Insert(Bytes(gdcm::Tag(0x0018, 0x1020), gdcm::VR::LO, algorithm.version));
    ds.Insert(Bytes(gdcm::Tag(0x0020, 0x000d), gdcm::VR::UI, study));
    ds.Insert(Bytes(gdcm::Tag(0x0020, 0x000e), gdcm::VR::UI, uids.Generate()));
    ds.Insert(Bytes(gdcm::Tag(0x0020, 0x0011), gdcm::VR::IS, kReportSeriesNumber));
    ds.Insert(Bytes(gdcm::Tag(0x0020, 0x0013), gdcm::VR::IS, "1"));
    ds.Insert(Bytes(gdcm::Tag(0x0040, 0xa491), gdcm::VR::CS, "COMPLETE"));
    ds.Insert(Bytes(gdcm::Tag(0x0040, 0xa493), gdcm::VR::CS, "UNVERIFIED"));
    ds.Insert(Sequence(gdcm::Tag(0x0040, 0xa372), {}));  // Performed Procedure Code

    // Current Requested Procedure Evidence: study > series > the source image.
    gdcm::DataSet seriesItem;
    seriesItem.Insert(Bytes(gdcm::Tag(0x0020, 0x000e), gdcm::VR::UI, series));
    seriesItem.Insert(SopReference(gdcm::Tag(0x0008, 0x1199), sopClass, sopInstance));
    gdcm::DataSet studyItem;
    studyItem.Insert(Sequence(gdcm::Tag(0x0008, 0x1115), {seriesItem}));
    studyItem.Insert(Bytes(gdcm::Tag(0x0020, 0x000d), gdcm::VR::UI, study));
    ds.Insert(Sequence(gdcm::Tag(0x0040, 0xa375), {studyItem}));

    gdcm::DataSet templateItem;
    templateItem.Insert(Bytes(gdcm::Tag(0x0008, 0x0105), gdcm::VR::CS, "DCMR"));
    templateItem.Insert(Bytes(gdcm::Tag(0x0040, 0xdb00), gdcm::VR::CS, "4000"));
    ds.Insert(Sequence(gdcm::Tag(0x0040, 0xa504), {templateItem}));
    PutContent(root, ds);

    const std::string tmp = outPath + ".tmp";
    std::ofstream stream(tmp, std::ios::binary | std::ios::trunc);
    if (!stream) throw Error(outPath, std::string("cannot create the file: ") + std::strerror(errno));
    gdcm::Writer writer;
    writer.SetStream(stream);
    writer.GetFile().GetHeader().SetDataSetTransferSyntax(
        gdcm::TransferSyntax::ExplicitVRLittleEndian);
    writer.GetFile().SetDataSet(ds);
    const bool bWritten = writer.Write();
    stream.close();
    if (!bWritten || !stream) {
        std::remove(tmp.c_str());
        throw Error(outPath, "cannot write the structured report");
    }
    if (std::rename(tmp.c_str(), outPath.c_str()) != 0) {
        std::remove(tmp.c_str());
        throw Error(outPath, "cannot rename the finished report into place");
    }
}

}  // namespace zetdip::host
