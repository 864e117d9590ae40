#pragma once

// What a channel of an edit carries; any other number is of no kind that has media.
enum EditChanType : int { eEditChanVision = 1, eEditChanSound = 2, eEditChanMainVision = 127 };
