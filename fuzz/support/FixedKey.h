#pragma once

/// Gives the cipher one key, the same in each run, so that enciphered seeds can be read.
void useFixedKey();
