#pragma once
// The numbers of the menu's commands, of the panes and of their texts.

#define ID_SCAN 101
#define ID_PAUSE 102
#define ID_STATISTICS 103
#define ID_SIMPLE 104
#define ID_CLOSE 105

#define ID_PROGRESS_PANE 201
#define ID_COUNT_PANE 202
#define ID_STATE_PANE 203
