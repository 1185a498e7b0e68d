#pragma once

/// The most memory that this process ever held, in KiB.
[[nodiscard]] long peakKiB();

/// How often threads of this process have waited and been woken.
[[nodiscard]] long wakeUps();
