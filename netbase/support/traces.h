// The traces on standard output, and who waits for their reader.
//
// Installed, they are held in a buffer and brought out in pieces that the reader takes at once.
// What a slow reader may cost a transfer is bounded, whatever it does; then whole lines are left
// out, and a line says how many bytes. Outside of a transfer it is waited for as long as it takes
// anything within some seconds. Where standard output can't be replaced (some C libraries don't let
// it be assigned to) it just gets a full buffer.
#pragma once

/// Makes standard output a buffered stream of that kind. Call it once, before anything is printed.
void ka_install_traces();

/// Brings out what was printed so far, as much of it as the reader takes at once. Waits that last
/// call it, so that whoever watches sees where a run stands.
void ka_bring_out_traces();

/// Brings out the last traces; the test is over and may wait.
void ka_finish_traces();

/// While one of these lives, a transfer is being timed.
class CTracesInTransfer {
  public:
    CTracesInTransfer();
    CTracesInTransfer(const CTracesInTransfer&) = delete;
    CTracesInTransfer& operator=(const CTracesInTransfer&) = delete;
    ~CTracesInTransfer();
};
