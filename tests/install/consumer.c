/* Decodes a WBMP of 1 x 1 from memory through the installed library. */
#include <stdio.h>
#include <vorel/vorel.h>

int main(void) {
    unsigned char wbmp[] = {0, 0, 1, 1, 0x80};
    unsigned char pixel[4] = {0, 0, 0, 0};
    ImageInfo info;
    DecInfo *session = VORELBRIM_CreateDecInfo(1, wbmp, (int32_t)sizeof wbmp, COLOR_RGBA8888, 0);
    if (session == NULL) return fputs("consumer: no session\n", stderr), 1;
    const int32_t type = VORELBRIM_Parser(session, &info);
    const int32_t decoded = type == VOREL_IMAGE_WBMP ? VORELBRIMI_DecodeWBMP(session, pixel, 1, 1) : 0;
    VORELBRIM_DestroyDecInfo(session);
    if (!decoded || pixel[0] != 255 || pixel[3] != 255) return fputs("consumer: wrong picture\n", stderr), 1;
    printf("consumer: decoded %u x %u with libvorel %s\n", info.width, info.height, BRIMJ_GetVersion());
    return 0;
}
