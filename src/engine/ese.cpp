#include "engine/ese.h"

namespace olhs {
namespace engine {

int candidatesPerIteration(int n) {
    const long long pairs = static_cast<long long>(n) * (n - 1);
    const long long J = (pairs + 9) / 10;
    return J > 50 ? 50 : static_cast<int>(J);
}

int innerIterations(int n) {
    if (n <= 22) {
        return (20 + (n - 1) - 1) / (n - 1);
    }
    return static_cast<int>(2.0 * n / 50 + 0.5);
}

int nextColumn(int& innerCounter, int m) {
    ++innerCounter;
    int column = innerCounter % m;
    if (column == 0) {
        ++innerCounter;
        column = 1;
    }
    return column;
}

double updatedThreshold(double threshold, bool improving, double a, double b, double& exploringFactor) {
    if (improving) {
        if (a > 0.1 && a > b) {
            return 0.8 * threshold;
        }
        if (a > 0.1 && a == b) {
            return threshold;
        }
        return 1.25 * threshold;
    }
    if (a < 0.1) {
        exploringFactor = 1.0 / 0.7;
    } else if (a > 0.8) {
        exploringFactor = 0.9;
    }
    return exploringFactor * threshold;
}

} // namespace engine
} // namespace olhs
