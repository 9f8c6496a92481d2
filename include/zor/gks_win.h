// Frames, the animation loop and the object list of the window workstation;
// its window settings, events and pixel-replication zoom.
#pragma once

#include "zor/gks.h"

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

// Frames: further operations.
int gswitch_frame(int a, int b);
int gloop_sleep();
int gset_image_data(int ind, const unsigned char* data, int size);
// Copies the frame's data block (at most 50 bytes) into `data`; its size.
int gget_image_data(int ind, unsigned char* data);
// The frame's server pixmap (X11), 0 when none.
unsigned long gget_frame_id(int ind);
// Makes a server pixmap the frame's picture; it is released with the frame.
int gset_frame_id(int ind, unsigned long pixmap);
int gprint_frame_ids();
// Forgets every frame without releasing its pixmap (the connection is gone).
int gforget_frames();

// The object list: further operations.
// Counts an object and, while recording, appends it with `size` bytes of
// data (copied from `data` when given); the data block, or null.
void* gnew_obj(int type, int values, int size, const void* data);
int gdel_seg_objs(int seg);
int gset_cache(int val);
int gget_cache();
int gset_redraw_func(void (*func)(void*), void* data);
int gobj_redraw_plot();
int gobj_print_plot();
int gobj_print_meta();

// ---- The X11 window: settings before opening, titles, cursors ----------
int gset_geometry(const char* geometry);
int gset_iconic(int val);
int gset_fixed_size(int val);
// A 48 x 48 icon bitmap, 288 bytes in X bitmap layout.
int gset_icon_bitmap(const unsigned char* bits);
// Loop-window handshake of a type 6 workstation: 2 new frame on opening,
// 9 end message on closing.
int gset_pix_mode(int val);
int gget_pix_mode();
int gset_xerror_print(int val);
int gget_xerror();
int gget_num_xerrors();
int gclear_xerror();
// Cursor numbers: 0 X_cursor, 1 left_ptr, 2 fleur, 3 exchange (looping),
// 4 dot (stopped), 5 pencil, 6 tcross, 7 xterm, 8 watch (busy).
int gset_cursor(int type);
int gset_cursor_type(int type);
int gget_cursor_type();
int gbell(int len);
int gsync();
int gset_win_title_extra(const char* str);
int gget_win_title_extra(char* str, int size = 60);
// width > 0: new window size; otherwise picks up the window's size (1 when
// it changed). Resets the zoom and deletes the frame pixmaps.
int gresize_window(int width, int height);
int gget_root_size(int* width, int* height);
unsigned long gget_display_id();
unsigned long gget_root_window();
unsigned long gget_base_window();
int gclear_region(const Glim* lim);
// An X11 resource default of the program name (XGetDefault); null when none.
const char* gget_xdefault(const char* option);
int gmessage(Gint ws, const char* text);

// ---- Events ------------------------------------------------------------
// kind 2 keys and window size, 3 mouse buttons; x, y world coordinates (or
// the new size for "size").
int gset_mouse_callback(void (*func)(int, char*, float, float));
int gset_refresh_callback(int seconds, void (*func)());
int gcheck_event();
int gwait_event();
int ginit_event(int cls);
int gset_input_mode(int val);
int gget_input_mode();
int gis_mapped();
// Rubber band: 0 off, 1 line, 2 rectangle, 3 lines from fixed points.
int gset_rubber_band(int type);
// Fixed points (up to 4) of type 3 and the constraint (1 keep x, 2 keep y).
int gset_rubber_band_points(const Gpt* pts, int n, int constraint);
// Two corners the moving point stays within (pixels); null: no limits.
int gset_rubber_band_limits(const Gpt* pts);

// ---- Pixel-replication zoom ------------------------------------------
int gzoom(int ind, int x, int y, int factor, int flag);
int gunzoom();
int greset_zoom();
int gget_zoom();
float xZ_p(float px);
float yZ_p(float py);
