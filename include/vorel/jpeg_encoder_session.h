/* An encode taken apart: the session record, and its steps in the order in which a loop of one's own calls them:
 * __rim_jpeg_enc_initiaize, __rim_jpeg_enc_make_header, __rim_jpeg_enc_process_image_data until nextRow reaches height,
 * __rim_jpeg_enc_make_end_mark, __rim_jpeg_enc_release_mem, and the record itself to VORELBRIM_OsFree. A session
 * belongs to one thread and makes one stream. Functions return 1, or 0 for a failure, which leaves a line in the log
 * under "VJPEG_STAT". */
#ifndef VOREL_JPEG_ENCODER_SESSION_H
#define VOREL_JPEG_ENCODER_SESSION_H

#include <stdint.h>

#include <vorel/export.h>
#include <vorel/jpeg_encoder.h>

VOREL_BEGIN_DECLS

/* ---- Records --------------------------------------------------------------------------------------------------- */

typedef int16_t JEBlock[64]; /* coefficients of a block */

typedef struct RimEncHuffTable {
    uint8_t counts[17], values[256]; /* as HuffmanSlot */
    uint8_t sent;                    /* DHT is written */
} RimEncHuffTable;
/* Codes by symbol (T.81 annex C); size 0: the symbol has none. */
typedef struct RimEncDerived {
    uint32_t code[256];
    uint8_t size[256];
} RimEncDerived;

typedef struct JEComponent {
    uint8_t id, index, hSamp, vSamp, quantTable, dcTable, acTable;
    uint32_t widthInBlocks, heightInBlocks;
    uint32_t sampledWidth, sampledHeight;                    /* samples that the picture has */
    uint32_t paddedWidth, paddedHeight;                      /* blocks times 8 */
    uint32_t rowsPerMcu, rowsThisMcu;                        /* sample rows of an MCU row; of the present one */
    uint32_t mcuWidth, mcuHeight, mcuBlocks, mcuSampleWidth; /* blocks and samples of an MCU in the scan */
    uint32_t lastColWidth, lastRowHeight;                    /* blocks of the last MCU that the picture has */
} JEComponent;

/* Samples of an MCU row. */
typedef struct JESampling {
    uint32_t rowCounter; /* MCU rows read */
    uint32_t rowFill;
    uint8_t **wideRows[3]; /* null: full-width chroma is reduced before it is stored */
    uint8_t **rows[3];     /* 16 rows each; planes that need no padding are coded where they lie */
    uint32_t alignment[3];
} JESampling;

typedef struct JECoefState {
    uint32_t mcuRow, mcuColumn, vertOffset, rowsPerMcuRow;
    int16_t *mcuBlocks[10];  /* of baseline streams: ten blocks in one area */
    JEBlock **wholeImage[3]; /* of progressive streams: all blocks, in zigzag order */
} JECoefState;

typedef struct JEEntropy {
    uint32_t bitBuffer, bitCount; /* bits that have no whole byte yet, at the low end */
    int32_t lastDc[3];
    RimEncDerived *dcDerived[4], *acDerived[4];
} JEEntropy;

/* A scan of a progressive stream (T.81 B.2.3). */
typedef struct JEScan {
    uint32_t componentCount, componentIndex[3], ss, se, ah, al;
} JEScan;
typedef struct JEMaster {
    uint8_t isLastPass;
    uint32_t passType; /* 0 main, 1 gathers statistics, 2 writes */
    uint32_t passNumber, totalPasses, scanNumber;
} JEMaster;

struct JEInfo;
/* The entropy coder of progressive scans. */
typedef struct JEPhuff {
    int32_t (*startPass)(struct JEInfo *session, uint32_t gather);
    int32_t (*encodeMcu)(struct JEInfo *session, int16_t **blocks);
    void (*finishPass)(struct JEInfo *session);
    uint8_t gatherStatistics;
    uint32_t bitBuffer, bitCount;
    struct JEInfo *session;
    int32_t lastDc[3];
    uint32_t eobRun, bufferedBits;
    uint8_t *correctionBits; /* 1000 */
    uint32_t nextRestart;
    RimEncDerived *derived[4];
    uint32_t *counts[4]; /* 257 each */
} JEPhuff;

/* What a caller that has its own transform prescribes. */
typedef struct PresetHeader {
    uint8_t componentCount; /* 1 or 3 */
    uint8_t pad[3];
    uint32_t quantTableCount;   /* at most 4 */
    uint8_t quantTables[4][64]; /* natural order, before the quality applies */
    uint32_t restart;           /* markers after each MCU row */
    uint32_t byteSizeHint;      /* of the stream, for the column encoder */
    struct {
        uint8_t quantTable, h, v; /* factors 1 or 2; of a single component they do not matter */
    } component[3];
} PresetHeader;

/* One MCU row of the column encoder. */
typedef struct JEColumnState {
    RimEncSink *sink;
    uint32_t bitBuffer, bitCount;
    int32_t lastDc[3];
} JEColumnState;

struct JEWork; /* the library's own */

typedef struct JEInfo {
    uint32_t width;
    int32_t height;
    uint8_t componentCount, maxHSamp, maxVSamp, inputFormat;
    uint32_t mcuRowTotal;
    uint16_t nextRow; /* rows consumed */
    uint8_t defaultSampling[6];
    uint32_t mcusPerRow, mcuRowsInScan;
    uint8_t blocksInMcu, componentsInScan;
    uint32_t quality;
    int32_t colourMode; /* the format where it is one of YUV or gray, else 0 */
    JEComponent *components, *scanComponents[4];
    uint32_t *quantTables[4];   /* 64 values, natural order */
    uint32_t *quantSent[4];     /* the same, and whether DQT is written */
    uint16_t *divisorTables[4]; /* four rows of 64: reciprocal, correction, scale, shift */
    RimEncHuffTable *dcSpecs[4], *acSpecs[4];
    uint32_t mcuMembership[10]; /* component of each block of an MCU */
    JESampling *sampling;
    JECoefState *coefState;
    JEEntropy *entropy;
    RimEncSink *sink;
    uint8_t *planeCursor[3], *inputBase;
    uint8_t *zigzag; /* 64: zigzag position to natural position */
    ExifInfo *exif;
    uint8_t *staging;
    uint32_t hasPresetHeader;
    uint32_t restartNumber, restartCounter, restartInterval; /* in MCUs; counter 0xFFFFFFFF: nothing is encoded yet */
    PresetHeader *presetHeader;
    uint32_t userPair[2];
    void *rawBlocks[100], *alignedBlocks[100];
    uint32_t blockCount;
    void **scratchWords;
    int16_t *dctWorkspace;
    uint32_t progressiveMode, useSuppliedHuffman;
    HuffmanSpec *suppliedHuffman;
    int32_t (*compressRow)(struct JEInfo *session, uint8_t ***rows);
    JEScan *scanList;
    uint32_t scanCount;
    JEScan *scanStore;
    int32_t scanStoreSize;
    uint32_t ss, se, ah, al;
    uint8_t gathering;                   /* MCUs are counted, not written */
    uint32_t *dcCounts[2], *acCounts[2]; /* 257 each */
    JEPhuff *phuff;
    JEMaster *master;
    JEColumnState *columns;
    uint32_t columnCursor;
    RimEncSink *savedSink;
    struct JEWork *work;
} JEInfo;

/* ---- Making a session ------------------------------------------------------------------------------------------ */

/* output says where the stream goes; its buffer is the session's until the end. spec and preset may be null. Null for
 * sides outside of 1 to 49,999, strips that are not in their picture, presets whose numbers or factors are out of range
 * or ask for more samples than the picture's planes have, and without memory. */
VOREL_API JEInfo *__rim_jpeg_enc_initiaize(RawInfo *raw, RimEncSink *output, HuffmanSpec *spec, PresetHeader *preset);
VOREL_API int32_t __rim_jpeg_enc_initail_setup(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_set_quality(JEInfo *session, uint32_t quality);
/* One quantiser table from 64 base values, in natural order, and a scale in percent. */
VOREL_API int32_t __rim_jpeg_enc_set_quant_table(JEInfo *session, uint32_t tableNumber, const uint8_t *baseTable,
                                                 uint32_t scale);
VOREL_API int32_t __rim_jpeg_enc_set_component_info(JEInfo *session, uint32_t index, uint8_t id, uint8_t hSamp,
                                                    uint8_t vSamp, uint8_t quantTable, uint8_t dcTable,
                                                    uint8_t acTable);
VOREL_API int32_t __rim_jpeg_enc_prepare_huffman_code(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_set_huffman_spec_tbl(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_create_huffman_tbl(JEInfo *session, RimEncHuffTable **slot, const uint8_t *counts,
                                                    const uint8_t *values);
VOREL_API int32_t __rim_jpeg_enc_prepare_derived_tblDC(JEInfo *session, uint32_t tableNumber, RimEncDerived **slot);
VOREL_API int32_t __rim_jpeg_enc_prepare_derived_tbl(JEInfo *session, uint32_t tableNumber, RimEncDerived **slot);
VOREL_API int32_t __rim_jpeg_enc_setup_scan(JEInfo *session);
VOREL_API void __rim_jpeg_enc_setup_imcu(JEInfo *session);

/* Memory of a session, 16-byte aligned: at most 100 blocks, all freed with it. */
VOREL_API void *__rim_enc_fake_malloc(JEInfo *session, uint32_t size);
VOREL_API void __rim_enc_fake_free(JEInfo *session, void *alignedPointer);
/* Row pointers over one block, rows rounded up to 16 samples or blocks. outAlignment is how far the first row stands
 * behind a 16-byte boundary. */
VOREL_API uint8_t **__rim_jpeg_enc_alloc_sample_arry(JEInfo *session, uint32_t samplesPerRow, uint32_t rows,
                                                     uint32_t *outAlignment);
VOREL_API JEBlock **__rim_jpeg_enc_alloc_block_arry(JEInfo *session, uint32_t blocksPerRow, uint32_t rows,
                                                    uint32_t *outAlignment);
/* What hangs on the session; not the record, and not the memory that the stream is in. */
VOREL_API void __rim_jpeg_enc_release_mem(JEInfo *session);

/* ---- Rows ------------------------------------------------------------------------------------------------------ */

/* Reads and encodes one MCU row. Always 1: whether it went wrong is for the end to say. */
VOREL_API int32_t __rim_jpeg_enc_process_image_data(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_compress_data(JEInfo *session, uint8_t ***rows);
/* Samples to quantised coefficients in natural order: blockcount neighbouring blocks whose first sample is that of
 * rows[startRow] at startColumn. */
VOREL_API void __rim_jpeg_enc_do_forward_dct(JEInfo *session, JEComponent *component, uint8_t **rows, int16_t *blocks,
                                             uint32_t startRow, uint32_t startColumn, uint32_t blockcount);
/* One MCU of blocksInMcu blocks in natural order. */
VOREL_API int32_t __rim_jpeg_enc_encode_1mcu_blk(JEInfo *session, int16_t **blocks);
VOREL_API void __rim_jpeg_enc_write_bits(JEInfo *session, uint32_t code, uint32_t size);
VOREL_API void __rim_jpeg_enc_finish_compression(JEInfo *session);
VOREL_API void __rim_jpeg_write_restart_marker(JEInfo *session);

/* ---- Headers and output ---------------------------------------------------------------------------------------- */

/* SOI to SOS. */
VOREL_API int32_t __rim_jpeg_enc_make_header(JEInfo *session);
VOREL_API void __rim_jpeg_enc_write_app0_marker(JEInfo *session);
VOREL_API void __rim_jpeg_enc_write_sos_marker(JEInfo *session);
/* Pads the last byte, with EOI and without, and brings what waits to where it goes. */
VOREL_API int32_t __rim_jpeg_enc_make_end_mark(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_make_without_end_mark(JEInfo *session);
VOREL_API int32_t __rim_jpeg_enc_flush_buffer(JEInfo *session);
/* A new block of oldSize + step bytes with the old one's contents, which is freed either way; null without memory. */
VOREL_API uint8_t *rim_jpeg_enc_realloc(uint8_t *oldBuffer, uint32_t oldSize, uint32_t step);

/* ---- The transform by itself ------------------------------------------------------------------------------------- */

/* 1, and four numbers for dividing by divisor at entries 0, 64, 128 and 192. */
VOREL_API int32_t compute_reciprocal(uint16_t divisor, uint16_t *divisorTableEntry);
/* Position of the highest set bit, from 1; 0 for 0. */
VOREL_API int32_t flss(uint16_t value);
/* 8 x 8 samples less 128. */
VOREL_API void convsamp(uint8_t **sampleRows, uint32_t startColumn, int16_t *workspace);
/* The forward DCT in place, times 8: in accurate integers, and with less precision. */
VOREL_API void vjpeg_fdct_islow(int16_t *data);
VOREL_API void vjpeg_fdct_ifast(int16_t *data);
VOREL_API void quantize(int16_t *coefBlock, const uint16_t *divisorTable, const int16_t *workspace);
/* Base values in natural order, row 0: T.81 tables K.1 and K.2. */
VOREL_API extern const uint8_t rim_luminanceQuantTbl[15][64];
VOREL_API extern const uint8_t rim_chrominanceQuantTbl[15][64];

VOREL_END_DECLS

#endif
