# The folders below msg/ that hold a message library's source.
set(ZELK_LOCALES
    ar_aa bg_bg cs_cz da_dk de_de el_gr en_US es_es fi_fi fr_fr hr_hr hu_hu it_it iw_il ja_jp
    ko_kr nl_nl no_no pl_pl pt_br pt_pt ro_ro ru_ru sk_sk sl_si sv_se tr_tr zh_cn Zh_tw)
