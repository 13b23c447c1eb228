// Medians by compare-exchange networks: the same steps for bytes and for vectors of them. Ops has lesser(a, b) and
// greater(a, b). Read inside a namespace, for each vector target anew, after the headers that it names.
#include <cstddef>
#include <utility>

enum class Keep : unsigned char { kBoth, kLesser, kGreater };
// The lesser of two wires goes to a, the greater to b; what nothing needs later is left out.
struct Exchange {
    unsigned char a, b;
    Keep keep;
};

template <class Ops, class V>
inline __attribute__((always_inline)) void exchange(V &a, V &b) {
    const V lesser = Ops::lesser(a, b);
    b = Ops::greater(a, b);
    a = lesser;
}

template <class Ops, class V>
inline __attribute__((always_inline)) void sort_5(V (&v)[5]) {
    exchange<Ops>(v[0], v[1]);
    exchange<Ops>(v[3], v[4]);
    exchange<Ops>(v[2], v[4]);
    exchange<Ops>(v[2], v[3]);
    exchange<Ops>(v[1], v[4]);
    exchange<Ops>(v[0], v[3]);
    exchange<Ops>(v[0], v[2]);
    exchange<Ops>(v[1], v[3]);
    exchange<Ops>(v[1], v[2]);
}

// For five sorted columns, entry 5 * row + column; leaves the median on wire kMedianWire.
constexpr size_t kMedianWire = 16;
constexpr Exchange kMedian25[] = {
    {0, 1, Keep::kBoth},      {3, 4, Keep::kBoth},      {2, 4, Keep::kBoth},     {2, 3, Keep::kGreater},
    {1, 4, Keep::kBoth},      {0, 3, Keep::kGreater},   {1, 3, Keep::kGreater},  {5, 6, Keep::kBoth},
    {8, 9, Keep::kBoth},      {7, 9, Keep::kBoth},      {7, 8, Keep::kBoth},     {6, 9, Keep::kBoth},
    {5, 8, Keep::kGreater},   {6, 8, Keep::kBoth},      {6, 7, Keep::kGreater},  {10, 11, Keep::kBoth},
    {13, 14, Keep::kBoth},    {12, 14, Keep::kBoth},    {12, 13, Keep::kBoth},   {11, 14, Keep::kLesser},
    {10, 13, Keep::kBoth},    {10, 12, Keep::kGreater}, {11, 13, Keep::kBoth},   {11, 12, Keep::kBoth},
    {15, 16, Keep::kBoth},    {18, 19, Keep::kBoth},    {17, 18, Keep::kBoth},   {16, 19, Keep::kLesser},
    {15, 18, Keep::kBoth},    {15, 17, Keep::kBoth},    {16, 18, Keep::kLesser}, {16, 17, Keep::kBoth},
    {20, 21, Keep::kBoth},    {23, 24, Keep::kBoth},    {22, 24, Keep::kLesser}, {22, 23, Keep::kBoth},
    {20, 23, Keep::kLesser},  {20, 22, Keep::kBoth},    {21, 22, Keep::kLesser}, {7, 11, Keep::kGreater},
    {3, 15, Keep::kGreater},  {12, 8, Keep::kBoth},     {16, 4, Keep::kBoth},    {20, 13, Keep::kBoth},
    {17, 9, Keep::kLesser},   {11, 15, Keep::kGreater}, {12, 16, Keep::kBoth},   {8, 4, Keep::kLesser},
    {20, 17, Keep::kBoth},    {8, 16, Keep::kBoth},     {15, 8, Keep::kBoth},    {17, 21, Keep::kLesser},
    {15, 12, Keep::kGreater}, {8, 16, Keep::kBoth},     {13, 17, Keep::kLesser}, {12, 20, Keep::kGreater},
    {8, 13, Keep::kLesser},   {16, 20, Keep::kLesser},  {8, 16, Keep::kGreater},
};

template <class Ops, size_t kIndex, class V>
inline __attribute__((always_inline)) void step_25(V (&v)[25]) {
    constexpr Exchange kStep = kMedian25[kIndex];
    if constexpr (kStep.keep == Keep::kBoth) {
        exchange<Ops>(v[kStep.a], v[kStep.b]);
    } else if constexpr (kStep.keep == Keep::kLesser) {
        v[kStep.a] = Ops::lesser(v[kStep.a], v[kStep.b]);
    } else {
        v[kStep.b] = Ops::greater(v[kStep.a], v[kStep.b]);
    }
}
template <class Ops, class V, size_t... kIndices>
inline __attribute__((always_inline)) V median_25(V (&v)[25], std::index_sequence<kIndices...>) {
    (step_25<Ops, kIndices>(v), ...);
    return v[kMedianWire];
}
template <class Ops, class V>
inline __attribute__((always_inline)) V median_25(V (&v)[25]) {
    return median_25<Ops>(v, std::make_index_sequence<sizeof(kMedian25) / sizeof(Exchange)>());
}

// Of the v[0] to v[kWindow - 1] and those from v[kNext] on: of half of the values and two more neither the least nor
// the greatest is the median, so both leave and the next one comes.
template <class Ops, size_t kWindow, size_t kNext, class V, size_t kCount>
inline __attribute__((always_inline)) V median_from(V (&v)[kCount]) {
    for (size_t i = 1; i < kWindow; ++i) exchange<Ops>(v[0], v[i]);
    for (size_t i = 1; i + 1 < kWindow; ++i) exchange<Ops>(v[i], v[kWindow - 1]);
    if constexpr (kWindow == 3) {
        return v[1];
    } else {
        v[0] = v[kNext];
        return median_from<Ops, kWindow - 1, kNext + 1>(v);
    }
}
// Of an odd number of values.
template <class Ops, class V, size_t kCount>
inline __attribute__((always_inline)) V median_of(V (&v)[kCount]) {
    return median_from<Ops, kCount / 2 + 2, kCount / 2 + 2>(v);
}
