#include "jpeg/decoder/region/coefficient_store.h"

#include <cstring>

#include "core/core.h"
#include "util/atomics.h"

namespace vorel {

CoefficientStore *CoefficientStore::make(uint32_t mcu_rows, uint32_t tiles_per_row) {
    CoefficientStore *store = os_allocate_array<CoefficientStore>(1);
    if (!store) return nullptr;
    if (pthread_mutex_init(&store->mutex_, nullptr) != 0) {
        os_release(store);
        return nullptr;
    }
    store->limit_ = kUsualStoreBytes;
    store->mcu_rows_ = mcu_rows;
    store->tiles_per_row_ = tiles_per_row;
    return store;
}

void CoefficientStore::release(CoefficientStore *store) {
    if (!store) return;
    while (store->oldest_) store->drop(store->oldest_);
    for (StoredMcus **rows : store->rows_) os_release(rows);
    pthread_mutex_destroy(&store->mutex_);
    os_release(store);
}

void CoefficientStore::set_limit(size_t bytes) {
    const MutexLock lock(&mutex_);
    limit_ = bytes;
    make_way(0);
    if (limit_ != 0 || oldest_) return;
    for (StoredMcus **&rows : rows_) {
        if (rows) used_ -= mcu_rows_ * sizeof(StoredMcus *);
        os_release(rows);
        rows = nullptr;
    }
}

size_t CoefficientStore::bytes() {
    const MutexLock lock(&mutex_);
    return used_;
}

size_t CoefficientStore::share() {
    const MutexLock lock(&mutex_);
    return limit_ / 2;
}

StoredMcus *CoefficientStore::enter(McuMode mode, uint32_t mcu_row, const uint8_t *keep) {
    const int index = static_cast<int>(mode);
    if (index >= kModes || mcu_row >= mcu_rows_) return nullptr;
    const MutexLock lock(&mutex_);
    if (limit_ == 0) return nullptr;
    StoredMcus **&rows = rows_[index];
    if (!rows) {
        const size_t bytes = mcu_rows_ * sizeof(StoredMcus *);
        if (!make_way(bytes) || !(rows = os_allocate_array<StoredMcus *>(mcu_rows_))) return nullptr;
        used_ += bytes;
    }
    StoredMcus **slot = &rows[mcu_row];
    if (*slot && std::memcmp((*slot)->keep, keep, sizeof(*slot)->keep) != 0) {
        // Of another scale.
        if ((*slot)->users != 0) return nullptr;
        drop(*slot);
    }
    if (*slot) {
        unlink(*slot);
    } else {
        if (!make_way(row_bytes())) return nullptr;
        auto *memory = os_allocate_array<uint8_t>(row_bytes());
        if (!memory) return nullptr;
        *slot = reinterpret_cast<StoredMcus *>(memory);
        (*slot)->slot = slot;
        (*slot)->tile_count = tiles_per_row_;
        std::memcpy((*slot)->keep, keep, sizeof(*slot)->keep);
        (*slot)->tiles = reinterpret_cast<PackedMcus **>(*slot + 1);
        (*slot)->seen = reinterpret_cast<uint8_t *>((*slot)->tiles + tiles_per_row_);
        used_ += row_bytes();
    }
    ++(*slot)->users;
    link(*slot);
    return *slot;
}

void CoefficientStore::leave(StoredMcus *row) {
    const MutexLock lock(&mutex_);
    --row->users;
    make_way(0);
}

const PackedMcus *CoefficientStore::tile(const StoredMcus *row, uint32_t number) {
    return load_acquire(&row->tiles[number]);
}

bool CoefficientStore::add(StoredMcus *row, uint32_t number, PackedMcus *packed) {
    const MutexLock lock(&mutex_);
    const bool there = row->tiles[number];
    if (there || !make_way(packed->bytes)) {
        os_release(packed);
        return there;
    }
    used_ += packed->bytes;
    store_release(&row->tiles[number], packed);
    return true;
}

size_t CoefficientStore::row_bytes() const { return sizeof(StoredMcus) + tiles_per_row_ * (sizeof(PackedMcus *) + 1); }

void CoefficientStore::link(StoredMcus *row) {
    row->older = newest_;
    row->newer = nullptr;
    (newest_ ? newest_->newer : oldest_) = row;
    newest_ = row;
}

void CoefficientStore::unlink(StoredMcus *row) {
    (row->newer ? row->newer->older : newest_) = row->older;
    (row->older ? row->older->newer : oldest_) = row->newer;
}

void CoefficientStore::drop(StoredMcus *row) {
    unlink(row);
    used_ -= row_bytes();
    for (uint32_t i = 0; i < row->tile_count; ++i) {
        if (row->tiles[i]) used_ -= row->tiles[i]->bytes;
        os_release(row->tiles[i]);
    }
    *row->slot = nullptr;
    os_release(row);
}

// Drops rows until so many bytes more are within the limit. False where those in use stand against it.
bool CoefficientStore::make_way(size_t bytes) {
    for (StoredMcus *row = oldest_; row && (bytes > limit_ || used_ > limit_ - bytes);) {
        StoredMcus *newer = row->newer;
        if (row->users == 0) drop(row);
        row = newer;
    }
    return bytes <= limit_ && used_ <= limit_ - bytes;
}

}  // namespace vorel
