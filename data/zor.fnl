mod modern.fnt
rom roman.fnt
fut futura.fnt
tim times.fnt
ita italic.fnt
scr script.fnt
got gothic.fnt
gre greek.fnt
