// Reading a Mammography CAD SR back with GDCM, independently of the writer:
// its calcification-cluster findings in the pixel frame the writer was given,
// and the DICOM validator's verdict on it.
#ifndef ZETDIP_TESTS_HOST_REPORT_SR_READER_H
#define ZETDIP_TESTS_HOST_REPORT_SR_READER_H

#include <gdcmDataSet.h>
#include <gdcmSequenceOfItems.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "report/structured_report.h"

namespace zetdip::test {

inline std::string Value(const gdcm::DataSet& ds, std::uint16_t g, std::uint16_t e) {
    const gdcm::Tag tag(g, e);
    const gdcm::ByteValue* bv =
        ds.FindDataElement(tag) ? ds.GetDataElement(tag).GetByteValue() : nullptr;
    std::string s = bv ? std::string(bv->GetPointer(), bv->GetLength()) : "";
    while (!s.empty() && (s.back() == ' ' || s.back() == '\0')) s.pop_back();
    return s;
}

inline std::vector<gdcm::DataSet> Items(const gdcm::DataSet& ds, std::uint16_t g, std::uint16_t e) {
    std::vector<gdcm::DataSet> items;
    if (!ds.FindDataElement(gdcm::Tag(g, e))) return items;
    gdcm::SmartPointer<gdcm::SequenceOfItems> sq =
        ds.GetDataElement(gdcm::Tag(g, e)).GetValueAsSQ();
    for (gdcm::SequenceOfItems::SizeType i = 1; sq && i <= sq->GetNumberOfItems(); ++i)
        items.push_back(sq->GetItem(i).GetNestedDataSet());
    return items;
}

inline std::string ConceptName(const gdcm::DataSet& item) {
    const auto names = Items(item, 0x0040, 0xa043);
    return names.empty() ? "" : Value(names[0], 0x0008, 0x0100);
}

// The clusters found below item: centre pixel index, radius in pixels, members.
inline void CollectFindings(const gdcm::DataSet& item, std::vector<zetdip::host::SrCluster>& out) {
    for (const gdcm::DataSet& child : Items(item, 0x0040, 0xa730)) {
        if (ConceptName(child) == "111059") {
            zetdip::host::SrCluster c;
            for (const gdcm::DataSet& property : Items(child, 0x0040, 0xa730)) {
                const std::string name = ConceptName(property);
                if (name == "111038")
                    c.members =
                        std::stoi(Value(Items(property, 0x0040, 0xa300).at(0), 0x0040, 0xa30a));
                if (name != "111010" && name != "111041") continue;
                const gdcm::ByteValue* bv =
                    property.GetDataElement(gdcm::Tag(0x0070, 0x0022)).GetByteValue();
                std::vector<float> d(bv->GetLength() / 4);
                std::memcpy(d.data(), bv->GetPointer(), d.size() * 4);
                if (name == "111010")
                    c.x = d.at(0) - 0.5, c.y = d.at(1) - 0.5;
                else
                    c.radius = std::hypot(d.at(2) - d.at(0), d.at(3) - d.at(1));
            }
            out.push_back(c);
        }
        CollectFindings(child, out);
    }
}

// The validator's error lines about a DICOM file; empty when it is absent.
inline std::vector<std::string> ValidatorErrors(const std::string& path) {
    std::vector<std::string> errors;
    if (std::system("command -v dciodvfy >/dev/null 2>&1") != 0) return errors;
    FILE* pipe = popen(("dciodvfy '" + path + "' 2>&1").c_str(), "r");
    if (pipe == nullptr) return {"cannot run dciodvfy"};
    for (char line[4096]; std::fgets(line, sizeof line, pipe) != nullptr;)
        if (std::string(line).rfind("Error", 0) == 0) errors.push_back(line);
    pclose(pipe);
    return errors;
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_HOST_REPORT_SR_READER_H
