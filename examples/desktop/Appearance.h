#pragma once

/// Dark colours for all windows. Without it they have the desktop's own, which may be dark as well:
/// everything is drawn in the palette's colours.
void wearDarkColours();
