// Corrections that a file asks for at the stages of the develop (DNG 1.4, chapter 7): what all of them share.
#pragma once

#include <cstdint>

#include "dng/base/develop_context.h"
#include "dng/image/image.h"
#include "dng/parse/stream.h"

class VorelDngOpcode {
  public:
    virtual ~VorelDngOpcode() = default;
    VorelDngOpcode(const VorelDngOpcode &) = delete;
    VorelDngOpcode &operator=(const VorelDngOpcode &) = delete;

    virtual bool isNOP() const { return false; }
    virtual bool isValidForNegative(const vorel::DevelopContext &) const { return true; }
    virtual void doApply(vorel::DevelopContext &decoder, VorelDngImage *&image) = 0;

    // As how many passes over the image it counts, by the time that it may take.
    uint32_t passes() const { return passes_; }
    // Whether it is to run in this develop.
    bool aboutToApply(vorel::DevelopContext &decoder);

    uint32_t id() const { return id_; }
    uint32_t stage() const { return stage_; }
    void setStage(uint32_t stage) { stage_ = stage; }

  protected:
    static constexpr uint32_t kOptional = 1, kSkipInPreview = 2;  // flags
    static constexpr uint32_t kNeighbourPasses = 8;               // of what looks at many neighbours of a sample

    // One that was made here.
    VorelDngOpcode(uint32_t opcodeId, uint32_t minVersion, uint32_t flags)
        : id_(opcodeId), minVersion_(minVersion), flags_(flags) {}
    // One of a file; the stream stands behind its id.
    VorelDngOpcode(uint32_t opcodeId, VorelDngStream &stream, uint32_t passes = 1);

    // Reads the count of bytes and moves the stream behind them. Nothing outside of the body can be read from the
    // result, which is shorter than the count where the stream is.
    static VorelDngStream takeBody(VorelDngStream &stream, uint32_t *count = nullptr);
    // Of a body that was read to its end. Without one the opcode has no effect.
    void setUsable(bool usable) { usable_ = usable; }

    // Where the image lies, once doApply() has asked. Positions in opcodes are those of the frame: the image's plus the
    // offset.
    void findFrame(const vorel::DevelopContext &decoder, const VorelDngImage &image);
    const vorel::OpcodeFrame &frame() const { return frame_; }
    vorel::DngRect toFrame(const vorel::DngRect &rect) const;
    // The whole image that the opcode is for, in the frame.
    const vorel::DngRect &wholeBounds() const { return whole_; }

  private:
    uint32_t id_, minVersion_, flags_, passes_ = 1;
    bool wasReadFromStream_ = false, usable_ = true;
    uint32_t stage_ = 0;  // 1 to 3: the list's
    vorel::OpcodeFrame frame_;
    vorel::DngRect whole_;
};

// From the image to a new one that takes its place, on the caller's thread.
class VorelDngFilterOpcode : public VorelDngOpcode {
  public:
    virtual uint32_t getBufferPixelType(uint32_t imagePixelType) { return imagePixelType; }
    virtual vorel::DngRect getModifiedBounds(const vorel::DngRect &imageBounds) { return imageBounds; }
    virtual vorel::DngPoint getSrcRepeat() { return {1, 1}; }
    virtual vorel::DngRect getSrcArea(const vorel::DngRect &dstArea, const vorel::DngRect &) { return dstArea; }
    virtual vorel::DngPoint getSrcTileSize(const vorel::DngPoint &dstTileSize, const vorel::DngRect &imageBounds);
    virtual void doPrepare(vorel::DevelopContext &, const vorel::DngRect &, uint32_t, uint32_t) {}
    // Makes the samples of area in dst, which has the bounds and planes of src.
    virtual void processArea(vorel::DevelopContext &decoder, const VorelDngImage &src, VorelDngImage &dst,
                             const vorel::DngRect &area) = 0;

    void doApply(vorel::DevelopContext &decoder, VorelDngImage *&image) override;

  protected:
    VorelDngFilterOpcode(uint32_t opcodeId, VorelDngStream &stream)
        : VorelDngOpcode(opcodeId, stream, kNeighbourPasses) {}
};

// Sample by sample in the image itself, in four threads.
class VorelDngInplaceOpcode : public VorelDngOpcode {
  public:
    virtual uint32_t getBufferPixelType(uint32_t imagePixelType) { return imagePixelType; }
    virtual vorel::DngRect getModifiedBounds(const vorel::DngRect &imageBounds) { return imageBounds; }
    // Before the threads start.
    virtual void doPrepare(vorel::DevelopContext &, const vorel::DngRect &, uint32_t, uint32_t) {}
    virtual void processArea(vorel::DevelopContext &decoder, VorelDngImage &image, const vorel::DngRect &area) = 0;

    void doApply(vorel::DevelopContext &decoder, VorelDngImage *&image) override;

  protected:
    using VorelDngOpcode::VorelDngOpcode;
};
