// Dequantisation: each component's table, and the multipliers that its kernel takes.
#include <cstring>

#include "jpeg/decoder/setup.h"

namespace vorel {
namespace {

// Decode mode 1 gives up precision that these templates (T.81 annex K.1 at three tenths) do not ask for.
constexpr uint8_t kLumaTemplate[kBlockCoefficients] = {5,  3,  3,  5,  7,  12, 15, 18, 4,  4,  4,  6,  8,  17, 18, 17,
                                                       4,  4,  5,  7,  12, 17, 21, 17, 4,  5,  7,  9,  15, 26, 24, 19,
                                                       5,  7,  11, 17, 20, 33, 31, 23, 7,  11, 17, 19, 24, 31, 34, 28,
                                                       15, 19, 23, 26, 31, 36, 36, 30, 22, 28, 29, 29, 34, 30, 31, 30};
constexpr uint8_t kChromaTemplate[kBlockCoefficients] = {
    5,  5,  7,  14, 30, 30, 30, 30, 5,  6,  8,  20, 30, 30, 30, 30, 7,  8,  17, 30, 30, 30,
    30, 30, 14, 20, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30,
    30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30, 30};
constexpr uint16_t kUnity = 0x2000;  // of a correction factor

bool is_high_quality(const uint16_t *q) {
    for (int k = kBlockCoefficients - 1; k >= 0; --k) {
        if (2 * q[k] < kLumaTemplate[k]) return true;
    }
    return false;
}

void clamp_component(const JpegComponent *component, const uint16_t *q, ComponentPlan *plan) {
    const uint8_t *floor = component->index == 0 ? kLumaTemplate : kChromaTemplate;
    uint16_t clamped[kBlockCoefficients];
    clamped[0] = q[0];
    plan->correction[0] = kUnity;
    for (int k = kBlockCoefficients - 1; k >= 1; --k) {
        const bool below = q[k] < floor[k];
        clamped[k] = below ? floor[k] : q[k];
        plan->correction[k] = below ? static_cast<uint16_t>((q[k] << 13) / floor[k]) : kUnity;
    }
    make_multipliers(plan->shape, clamped, plan->multipliers);
}

// The component's table. Where neither its slot nor slot 0 has one, the first table there is serves, and is copied down
// to the slots before it. Null without one.
const QuantTable *find_quant_table(HeaderState *header, const JpegComponent *component) {
    const uint32_t slot = component->quantTableIndex;
    if (slot > 3) return nullptr;
    QuantTable **tables = header->quantTables;
    if (tables[slot]) return tables[slot];
    if (tables[0]) return nullptr;
    int from = 1;
    while (from < 4 && !tables[from]) ++from;
    if (from == 4) return nullptr;
    for (int to = from - 1; to >= 0; --to) {
        tables[to] = os_allocate_array<QuantTable>(1);
        if (!tables[to]) {
            set_error(kErrorOutOfMemory);
            return nullptr;
        }
        *tables[to] = *tables[from];
    }
    return tables[slot] ? tables[slot] : tables[0];
}

}  // namespace

bool plan_multipliers(JpegInfo *info, const JpegComponent *component) {
    // Behind the last scan's header tables may still be defined again, which is not for a region of it.
    const QuantTable *table =
        info->lender ? &info->lender->tables_used[component->index] : find_quant_table(&info->header, component);
    if (!table) return false;
    info->tables_used[component->index] = *table;
    ComponentPlan *plan = &info->plan.components[component->index];
    if (info->plan.highQualityClamp) {
        clamp_component(component, table->q, plan);
    } else if (info->plan.scaleIndex > 3) {
        make_scaled_multipliers(table->q, plan->multipliers);
    } else {
        make_multipliers(plan->shape, table->q, plan->multipliers);
    }
    return true;
}

void choose_clamp(JpegInfo *info) {
    info->plan.highQualityClamp = 0;
    if (info->decMode != 1 || !is_baseline(info) || info->plan.scaleIndex != 0) return;
    const QuantTable *table = find_quant_table(&info->header, &info->frame->components[0]);
    info->plan.highQualityClamp = table && is_high_quality(table->q);
}

}  // namespace vorel
