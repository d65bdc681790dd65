/* The frame's globals: valid only while a host call is in progress. Only the
 * host's thread touches them; worker threads get what they need in their jobs. */
#ifndef ORTAVEL_FRAME_GLOBALS_H
#define ORTAVEL_FRAME_GLOBALS_H

#include <stdint.h>

#include "frame/filter_parameters.h"
#include "host/photoshop_api.h"
#include "run/filter_data.h"

extern FilterRecord *gFilterRecord; /* the current call's record */
extern int16_t *gResult;            /* the host's result word for this call */
extern intptr_t *gDataHandle;       /* the host's word holding the data handle */
extern FilterParameters *gParams;   /* locked parameters block, null outside a call */
extern FilterData *gData;           /* locked data block, null outside a call */
extern SPBasicSuite *sSPBasic;      /* the host's basic suite */

#endif
