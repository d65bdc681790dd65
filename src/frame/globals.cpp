// Storage of the frame's globals; see globals.h for who may touch them.
#include "frame/globals.h"

FilterRecord *gFilterRecord = nullptr;
int16_t *gResult = nullptr;
intptr_t *gDataHandle = nullptr;
FilterParameters *gParams = nullptr;
FilterData *gData = nullptr;
SPBasicSuite *sSPBasic = nullptr;
