// Frames and the animation loop of the window workstation.
#pragma once

// Frame selectors besides frame numbers.
inline constexpr int GFRAME_LAST = -1;
inline constexpr int GFRAME_CURRENT = -2;
inline constexpr int GFRAME_BASE = -3;
inline constexpr int GFRAME_ALL_BUT_LAST = -4;  // gset_loop_delay only

int ginit_loop();
int gcreate_frame(int ind);
int gselect_frame(int ind);
int gclear_frame(int ind);
int gcopy_frame(int dest, int src);
int gdisplay_frame(int ind);
int gdelete_frame(int ind);
int gdelete_all_frames();
int gset_looping(int on);
int gtoggle_loop(int val);
int gget_looping();
int gset_loop_delay(int ind, float delay);
int ginc_loop_delay(float inc);
float gget_loop_delay();
float gget_frame_delay(int ind);
int ginc_frame(int step);
int gget_num_images();
int gget_cur_frame();
int gset_loop_direct(int mode);
int gget_loop_direct();
int gset_loop_range(int start, int end);
int gset_loop_title(int val);

// The object list (recording starts off; gset_redraw(1) turns it on).
int ginit_objs();
int gclear_objs();
int gset_redraw(int on);
int gget_redraw();
long gget_num_objects();
int gget_num_recorded();
// Replays the recorded objects into the current drawing target; 0 when empty.
int gobj_replay();
