#include "evaluation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

#include "core/error.h"

namespace zetdip::host {
namespace {

std::vector<std::string> SplitCsv(const std::string& line) {
    std::vector<std::string> cells;
    std::string cell;
    std::istringstream in(line);
    while (std::getline(in, cell, ',')) {
        while (!cell.empty() && (cell.back() == '\r' || cell.back() == ' ')) cell.pop_back();
        cells.push_back(cell);
    }
    return cells;
}

}  // namespace

std::vector<TruthCluster> ReadTruthCsv(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw Error(path, "cannot open the truth file");
    std::string line;
    if (!std::getline(in, line)) throw Error(path, "empty truth file");
    const auto header = SplitCsv(line);
    std::map<std::string, std::size_t> column;
    for (std::size_t i = 0; i < header.size(); ++i) column[header[i]] = i;
    for (const char* name : {"refnum", "x", "y_top_origin", "radius_px"})
        if (!column.count(name))
            throw Error(path, std::string("no column '") + name + "' in the header");
    std::vector<TruthCluster> truth;
    int nLine = 1;
    while (std::getline(in, line)) {
        ++nLine;
        if (line.find_first_not_of(" \r\t") == std::string::npos) continue;
        const auto cells = SplitCsv(line);
        try {
            TruthCluster t;
            t.image = cells.at(column["refnum"]);
            t.x = std::stod(cells.at(column["x"]));
            t.y = std::stod(cells.at(column["y_top_origin"]));
            t.dRadius = std::stod(cells.at(column["radius_px"]));
            truth.push_back(t);
        } catch (const std::exception&) {
            throw Error(path, "line " + std::to_string(nLine) + " is not a cluster");
        }
    }
    return truth;
}

std::vector<std::string> ReadNameList(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw Error(path, "cannot open the list");
    std::vector<std::string> names;
    std::string line;
    while (std::getline(in, line)) {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
        if (!line.empty()) names.push_back(line);
    }
    return names;
}

ImageScore ScoreImage(const std::vector<Mark>& marks, const std::vector<TruthCluster>& truth) {
    ImageScore s;
    s.nClusters = static_cast<int>(truth.size());
    auto inside = [](const Mark& m, const TruthCluster& t) {
        return std::hypot(m.x - t.x, m.y - t.y) <= t.dRadius;
    };
    for (const auto& t : truth)
        for (const auto& m : marks)
            if (inside(m, t)) {
                ++s.nFound;
                break;
            }
    for (const auto& m : marks) {
        bool bHit = false;
        for (const auto& t : truth) bHit = bHit || inside(m, t);
        s.nFalse += !bHit;
    }
    return s;
}

void WriteFrocSvg(const std::string& path, const std::vector<std::string>& labels,
                  const std::vector<std::vector<FrocPoint>>& curves, double dMaxFalse) {
    const double W = 480, H = 360, L = 60, R = 20, T = 20, B = 50;
    auto px = [&](double f) { return L + (W - L - R) * std::min(f, dMaxFalse) / dMaxFalse; };
    auto py = [&](double s) { return H - B - (H - T - B) * s; };
    std::ostringstream o;
    o << "<svg xmlns='http://www.w3.org/2000/svg' width='" << W << "' height='" << H
      << "' font-family='sans-serif' font-size='12'>\n<rect width='100%' height='100%' "
         "fill='white'/>\n";
    for (int k = 0; k <= 4; ++k) {
        const double s = k / 4.0, f = dMaxFalse * k / 4.0;
        o << "<line x1='" << L << "' y1='" << py(s) << "' x2='" << W - R << "' y2='" << py(s)
          << "' stroke='#ddd'/>\n<text x='" << L - 8 << "' y='" << py(s) + 4
          << "' text-anchor='end'>" << s << "</text>\n<text x='" << px(f) << "' y='" << H - B + 18
          << "' text-anchor='middle'>" << f << "</text>\n";
    }
    o << "<text x='" << (L + W - R) / 2 << "' y='" << H - 12
      << "' text-anchor='middle'>false clusters per image</text>\n<text x='14' y='"
      << (T + H - B) / 2 << "' transform='rotate(-90 14 " << (T + H - B) / 2
      << ")' text-anchor='middle'>fraction of clusters found</text>\n";
    const char* colours[] = {"#1f5fbf", "#c0392b", "#27ae60", "#8e44ad"};
    for (std::size_t c = 0; c < curves.size(); ++c) {
        const char* colour = colours[c % 4];
        o << "<polyline fill='none' stroke='" << colour << "' stroke-width='2' points='";
        for (const auto& p : curves[c])
            o << px(p.FalsePerImage()) << ',' << py(p.Sensitivity()) << ' ';
        o << "'/>\n";
        for (const auto& p : curves[c])
            o << "<circle cx='" << px(p.FalsePerImage()) << "' cy='" << py(p.Sensitivity())
              << "' r='3' fill='" << colour << "'/>\n";
        o << "<text x='" << W - R - 4 << "' y='" << H - B - 10 - 16.0 * double(c)
          << "' text-anchor='end' fill='" << colour << "'>"
          << (c < labels.size() ? labels[c] : std::string()) << "</text>\n";
    }
    o << "</svg>\n";
    const std::string tmp = path + ".tmp";
    {
        std::ofstream out(tmp, std::ios::binary);
        if (!out || !(out << o.str())) throw Error(path, "cannot write the picture");
    }
    if (std::rename(tmp.c_str(), path.c_str()) != 0) throw Error(path, "cannot rename the picture");
}

}  // namespace zetdip::host
