#include "dng/colour/function_1d.h"

double VorelDng1dFunction::evaluateInverse(double y) const {
    if (!(evaluate(0) < y)) return 0;
    double below = 0, above = 1;
    // 64 halvings leave no double between the two.
    for (int i = 0; i < 64; ++i) {
        const double middle = (below + above) * 0.5;
        (evaluate(middle) < y ? below : above) = middle;
    }
    return above;
}

const VorelDng1dFunction &VorelDng1dIdentity::GET() {
    static const VorelDng1dIdentity kIdentity;
    return kIdentity;
}
