/* The scripted parameters: reading the host's descriptor into gParams on the
 * start selector, writing the lens parameters and method back on finish.
 * Failures go to the result word (*gResult). */
#ifndef ORTAVEL_FRAME_SCRIPT_PARAMETERS_H
#define ORTAVEL_FRAME_SCRIPT_PARAMETERS_H

#ifdef __cplusplus
extern "C" {
#endif

/* Applies the descriptor's keys over gParams, disposes of the descriptor and
 * sets gData->dialogRequested from playInfo. Without a descriptor it changes
 * nothing. */
void ReadScriptParameters(void);

/* Writes "paK1", "paK2", "paXC", "paYC", "paFR", "scaF" and "intM" into a
 * new descriptor that replaces the host's one. */
void WriteScriptParameters(void);

#ifdef __cplusplus
}
#endif

#endif
