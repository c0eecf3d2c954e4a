// The synthetic images' random numbers: uniform and normal deviates from the
// engine's raw output (Box-Muller), so that an image depends on its seed
// alone, not on the standard library's distribution code.
#ifndef ZETDIP_HOST_PHANTOM_RANDOM_H
#define ZETDIP_HOST_PHANTOM_RANDOM_H

#include <cmath>
#include <cstdint>
#include <random>

namespace zetdip::phantom {

class Random {
public:
    explicit Random(std::uint32_t nSeed) : m_engine(nSeed) {}
    double Uniform() { return (m_engine() + 0.5) / 4294967296.0; }
    double Uniform(double a, double b) { return a + (b - a) * Uniform(); }
    int Integer(int a, int b) {  // a .. b inclusive
        return a + static_cast<int>(Uniform() * (b - a + 1));
    }
    double Normal() {
        const double u1 = Uniform(), u2 = Uniform();
        return std::sqrt(-2.0 * std::log(u1)) * std::cos(2.0 * 3.14159265358979323846 * u2);
    }

private:
    std::mt19937 m_engine;
};

}  // namespace zetdip::phantom

#endif  // ZETDIP_HOST_PHANTOM_RANDOM_H
