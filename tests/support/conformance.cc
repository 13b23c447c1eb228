#include "support/conformance.h"

#include <gtest/gtest.h>

#include "support/counting_allocator.h"
#include "support/log_capture.h"
#include "support/samples.h"

namespace vorel::test {
namespace {

// What the first kind gives; the others give the same, and none keeps or takes more memory than it may.
Seen expect_same_from_every_kind(const Subject &subject, const Bytes &input, const std::string &what) {
    CountingAllocator allocator;
    const Seen first = subject.decode(subject.kinds[0], input);
    for (size_t i = 1; i < subject.kinds.size(); ++i) {
        const Kind kind = subject.kinds[i];
        const Seen other = subject.decode(kind, input);
        if (other == first || (subject.may_differ && subject.may_differ(kind, input, first, other))) continue;
        ADD_FAILURE() << what << ": kind " << static_cast<int>(kind) << " gives " << other.result << ", kind "
                      << static_cast<int>(subject.kinds[0]) << " " << first.result;
    }
    EXPECT_EQ(allocator.live_blocks(), 0u) << what;
    EXPECT_LT(allocator.peak_bytes(), subject.memory) << what;
    return first;
}

}  // namespace

void expect_entries_give(const Bytes &expected, const Bytes &file, int32_t format, int32_t sample, uint8_t fill) {
    const TempFile path(file);
    const auto size = static_cast<int32_t>(file.size());
    GuardBuffer by_file(expected.size(), fill), by_buffer(expected.size(), fill);
    EXPECT_EQ(VorelDecodeFile(path.path(), by_file.data(), 0, format, sample), 1);
    EXPECT_EQ(VorelDecodeBuffer(file.data(), by_buffer.data(), size, format, sample), 1);
    EXPECT_EQ(by_file.bytes(), expected);
    EXPECT_EQ(by_buffer.bytes(), expected);
}

void expect_prefixes_conform(const Subject &subject) {
    const LogCapture log;
    // An empty input opens by path only, so there is nothing to compare it with.
    for (size_t length = 1; length <= subject.file.size(); ++length) {
        const std::string what = subject.name + " cut to " + std::to_string(length);
        SCOPED_TRACE(what);
        const Bytes cut = head(subject.file, length);
        const Seen seen = expect_same_from_every_kind(subject, cut, what);
        if (subject.on_prefix) subject.on_prefix(cut, seen);
    }
    subject.decode(Kind::kPath, {});
}

void expect_changes_conform(const Subject &subject) {
    const LogCapture log;
    for (size_t at = 0; at < subject.file.size(); ++at) {
        for (const uint8_t value : subject.values) {
            const std::string what = subject.name + " byte " + std::to_string(at) + " = " + std::to_string(value);
            SCOPED_TRACE(what);
            const Bytes other = changed(subject.file, at, {value});
            const Seen seen = expect_same_from_every_kind(subject, other, what);
            if (subject.on_change) subject.on_change(other, at, seen);
        }
    }
}

void expect_failing_allocations_conform(const Subject &subject) {
    const LogCapture log;
    for (const Kind kind : subject.kinds) {
        const Seen whole = subject.decode(kind, subject.file);
        EXPECT_NE(whole.result, 0) << subject.name;
        const size_t allocations = with_each_allocation_failing([&](CountingAllocator &allocator) {
            const Seen seen = subject.decode(kind, subject.file);
            const bool right = seen == whole;
            if (!allocator.failed()) EXPECT_TRUE(right) << subject.name;
            if (allocator.failed() && !(subject.survives && right)) EXPECT_EQ(seen.result, 0) << subject.name;
            if (allocator.failed() && seen.result == 0) EXPECT_NE(seen.error, 0u) << subject.name;
            EXPECT_EQ(allocator.live_blocks(), 0u) << subject.name;
        });
        EXPECT_GE(allocations, subject.allocations) << subject.name;
    }
}

void expect_repeats_conform(const Subject &subject) {
    const LogCapture log;
    const CountingAllocator allocator;
    const Bytes inputs[] = {subject.file, head(subject.file, subject.file.size() / 2), head(subject.file, 8)};
    const int descriptors = open_descriptors();
    for (const Bytes &input : inputs) {
        const Seen first = subject.decode(Kind::kPath, input);
        for (int i = 0; i < subject.decodes; ++i) {
            ASSERT_TRUE(subject.decode(Kind::kPath, input) == first) << subject.name << ", decode " << i;
        }
    }
    EXPECT_EQ(open_descriptors(), descriptors) << subject.name;
    EXPECT_EQ(allocator.live_blocks(), 0u) << subject.name;
}

void expect_conforms(const Subject &subject) {
    expect_prefixes_conform(subject);
    expect_changes_conform(subject);
    expect_failing_allocations_conform(subject);
    expect_repeats_conform(subject);
}

}  // namespace vorel::test
