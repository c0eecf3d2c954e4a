// Links the installed shared library and calls a few exported entries.
#include <ZetDIP.h>

#include <cstdio>
#include <vector>

int main() {
    std::vector<unsigned char> image(16 * 16);
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<unsigned char>(i);
    std::vector<unsigned char> out(image.size());
    if (!CDipEnhancement::ApplyStretching(image.data(), out.data(), 8, 8, 16, 16, 0, 200)) return 1;
    if (!CDipThresholding::ApplyThresholding(out.data(), out.data(), 8, 8, 16, 16, 128)) return 1;
    int nBins = 0;
    unsigned int* pHisto = CDipHisto::CreateHisto(out.data(), 8, 8, 7, 16, 16, &nBins);
    if (pHisto == nullptr || nBins != 256 || pHisto[0] + pHisto[255] != 256) return 1;
    delete[] pHisto;
    if (C2dGeo::GetDistanceBetweenPoints(CPoint(0, 0), CPoint(3, 4)) != 5.0f) return 1;
    std::printf("consumer ok\n");
    return 0;
}
