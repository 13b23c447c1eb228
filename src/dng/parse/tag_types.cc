#include "dng/parse/tag_types.h"

uint32_t TagTypeSize(uint32_t type) {
    static constexpr uint32_t kSizes[16] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 2, 8};
    return type < 16 ? kSizes[type] : 0;
}
