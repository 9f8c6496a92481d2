// The radar data plotting program: resources, help, input type and the
// chosen format's plotting.
#include <array>

#include "rad_dispatch.h"
#include "zor/dom.h"
#include "zor/flag.h"
#include "zor/mess.h"
#include "zor/res.h"

namespace {

// The keyed options, in the order of the help text.
constexpr std::array kResKey = {
    RES_help,        RES_batch,        RES_message,     RES_file_path,  RES_data_path,
    RES_con_path,    RES_grid_path,    RES_raw_path,    RES_image_path, RES_watch_path,
    RES_text_path,   RES_model_path,   RES_sat_path,    RES_city_file,  RES_map_file,
    RES_inputg,      RES_output,       RES_name_conv,   RES_in_file,    RES_out_file,
    RES_file_param,  RES_current,      RES_hour,        RES_num_hour,   RES_identifier,
    RES_plot_domain, RES_grid_domain,  RES_region,      RES_stat_prior, RES_variable,
    RES_plot_type,   RES_plot_scale,   RES_plot_format, RES_plot_param, RES_draw,
    RES_label,       RES_con_interval, RES_con_base,    RES_font_list,  RES_color_table,
    RES_color_text,  RES_color_data,   RES_color_map,   RES_color_grid, RES_color_line,
    RES_color_wind,  RES_color_watch,  RES_color_cmap,  RES_color_cont, RES_color_fill,
    RES_color_label, RES_color_clabel, RES_device,      RES_title,      RES_icon,
    RES_background,  RES_geometry,     RES_null};
static_assert(kResKey.size() == 58);

constexpr std::array kResPos = {RES_filenames, RES_null};

}  // namespace

int main(int argc, char** argv) {
  RES_set_domain_decoder(DOM_decode);
  RES_init(argc, argv, kResKey.data(), kResPos.data());
  if (FLAG_help()) {
    std::array<char, 40> temp_str{};
    RES_get_progname(temp_str.data(), temp_str.size());
    MESS_print(M_PRINT, "%s: This program plots various types of radar data\n", temp_str.data());
    RES_help_print(temp_str.data(), kResKey.data(), kResPos.data());
    ZOR_exit(0);
  }
  RAD_cvt_in_file();
  MESS_print_prog("RADAR DATA PLOTTING");
  int status = zor::radar_entry::dispatch();
  if (status != 0) ZOR_exit(status);
  return 0;
}
