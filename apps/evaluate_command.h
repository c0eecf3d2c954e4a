// zetdip-cad evaluate: the detection rate of the microcalcification chain
// on images with known clusters, as the points of a FROC curve. The options
// are parsed in zetdip_cad.cpp, which alone compiles the parser.
#ifndef ZETDIP_APPS_EVALUATE_COMMAND_H
#define ZETDIP_APPS_EVALUATE_COMMAND_H

#include <string>
#include <vector>

namespace zetdip::cad {

struct EvaluateArgs {
    std::string dir, truthPath, normalsPath, svgPath, dumpDir;
    double dPixelSize = 0.0;  // 0: from the files (synthetic: 0.1)
    double dDefault;
    std::vector<double> thresholds;
    std::vector<double> contrasts;
    int nSynthetic = 0;
    unsigned nSeed = 1;
    bool bWholeChain = false;
    EvaluateArgs();
};

// Prints the FROC points and the per-image table on stdout; returns the
// program's exit code (errors are printed as one line on stderr).
int RunEvaluate(const EvaluateArgs& a);

}  // namespace zetdip::cad

#endif  // ZETDIP_APPS_EVALUATE_COMMAND_H
