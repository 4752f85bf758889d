/// The extension tables: data, sorted and checked by the compiler.
#include "common/media_extensions.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace {

constexpr char image_extensions[] =
    "001 2bp 36 411 73i 8pbs 8xi abc abm ac5 ac6 accountpicture-ms acorn acr adc af2 af3 afx agif agp ai aic ais "
    "albm apd apm apng aps apx arr art artb artwork arw asw asy avatar awd awg blkrt blz bm2 bmc bmf bmp bmx bmz "
    "brk brn brt bss bti c4 cag cal cals cam can ccx cd5 cdc cdd cdg cdmm cdmt cdmtz cdmz cdr cdt cdx ce cgm cil "
    "cimg cin cit clarify cmx cnv colz cor cpbitmap cpc cpd cpg cps cpt cpx csf csy ct cut cv5 cvg cvi cvs cvx "
    "cxf dc2 dcm dcs dcx ddb ddrw dds ddt ded design dgt dhs dia dib dicom djv djvu dm3 dmi dpp dpr dpx drawing "
    "drawit drw drz dsf dt2 dtw dvl dxb ecw emf emz ep epp eps epsf exr ezdraw fac face fal fax fbm fh10 fh11 fh7 "
    "fh8 fh9 fhd fif fig fil fits fmv fpg fpos fpx frm fs ft10 ft11 ft7 ft8 ft9 ftn fxg g3 gbr gcdp gdraw gem gfb "
    "gfie ggr gif gih gim gks glox gls gmbck gmspr gp4 gpd graffle gro grob gry gsd gstencil gtemplate hdp hdr "
    "hdrp hf hgl hpg hpgl hpi hpl hr hrf i3d ic1 ic2 ic3 ica icb icn icon icpr idea igt igx ilbm imd img imj info "
    "ink int ipick ipx itc2 ithmb ivr ivue iwi j j2c j2k jas jb2 jbf jbig jbig2 jbmp jbr jfi jfif jia jif jiff "
    "jng jp2 jpc jpd jpe jpeg jpf jpg jpg2 jps jpx jtf jwl jxr kdi kdk kfx kic kodak kpg lbm lif ljp lmk mac mat "
    "max mbm mcs met mgc mgcb mgmf mgmt mgmx mgs mgtx mic mip mix mmat mng mnr mp mpf mpo mrb mrxs msk msp mxi "
    "myl nap ncd ncr nct neo nlm oc3 oc4 oc5 oci odg odi omf oplc ora ota otb otg oti ovp ovr pac pal pap pat pbm "
    "pc1 pc2 pc3 pcd pcs pcx pd pdd pdn pe4 pen pfd pfi pfr pgf pgm pi1 pi2 pi3 pi4 pi5 pi6 pic picnc pict "
    "pictclipping pix pixadex pjpeg pjpg pl plt pm pm3 pmg png pni pnm pns pnt pntg pobj pop pov pp4 pp5 ppf ppm "
    "prw ps psb psd psdx pse psf psid psp pspbrush pspimage ptg ptk ptx pvr pwp pws px pxd pxicon pxm pxr pzp qif "
    "qmg qti qtif ras rcl rcu rdl rgb ric rif riff rix rle rli rpf rri rs rsb rsr s2mv sai sar sbp scg sci scn "
    "scp sct scu scv sda sdr sep sfc sff sfw sgi shg sid sig sim sk1 sk2 sketch skitch skm skypeemoticonset sld "
    "slddrt smf smp sob spa spc spe sph spiff spj spp spr sprite spu sr std ste sumo sun suniff sup sva svf svg "
    "svgz sxd t2b taac tb0 tbn tex tfc tg4 tga thm thumb tif tiff tjp tlc tm2 tn tn1 tn2 tn3 tne tny tpf tpi tpl "
    "tps trif tub u ufo ufr urt usertile-ms v vbr vda vec vff vic viff vml vna vpe vrphoto vsd vsdm vsdx vss vst "
    "vstm vstx wb1 wbc wbd wbm wbmp wbz wdp webp wi wic wmf wmp wmz wpb wpe wpg wvl xar xbm xcf xmind xmmap xpm "
    "xpr xwd y yal ysp yuv zgm zif";

// The video list ends at the letter h, apart from mkv, mov and mp4: wmv, mpg, mpeg, m4v and webm are not video.
constexpr char video_extensions[] =
    "264 3g2 3gp 3gp2 3gpp 3gpp2 3mm 3p2 60d 787 aaf aec aep aepx aet aetx ajp ale am amc amv amx anim aqt arcut "
    "arf asf asx avb avc avd avi avp avs avv axm bdm bdmv bdt2 bdt3 bik bin bix bmc bmk bnp box bs4 bsf bvr byu "
    "camproj camrec camv ced cel cine cip clpi cmmp cmmtpl cmproj cmrec cpi cst cvc cx3 d2v d3v dat dav dce dck "
    "dcr ddat dif dir divx dlx dmb dmsd dmsd3d dmsm dmsm3d dmss dmx dnc dpa dpg dream dsy dv dv-avi dv4 dvdmedia "
    "dvr dvr-ms dvx dxr dzm dzp dzt edl evo eye ezt f4f f4p f4v fbr fbz fcp fcproject ffd flc flh fli flv flx ftc "
    "gfp gl gom grasp gts gvi gvp h264 hdmov hkm mkv mov mp4";

constexpr char audio_extensions[] =
    "2sf 2sflib 3ga 4mp 669 6cm 8cm 8med 8svx a2m a52 aa aa3 aac aax ab abc abm ac3 acd acd-bak acd-zip acm acp "
    "act adg adt adts adv afc agm agr ahx aif aifc aiff aimppl ais akp al alac alaw alc all als amf amr ams amxd "
    "amz aob ape apf apl aria ariax asd ase at3 atrac au aud aup avastsounds avr awb ay b4s band bap bcs bdd "
    "bidule bonk box brstm bun bwf bwg bww c01 caf caff cda cdda cdlx cdo cdr cel cfa cfxr cgrp cidb ckb ckf cmf "
    "conform copy cpr cpt csh cts cwb cwp d00 d01 dcf dcm dct ddt dewf df2 dfc dff dig djr dls dm dmc dmf dmsa "
    "dmse dra drg ds ds2 dsf dsm dsp dss dtm dts dtshd dvf dwa dwd ear efa efe efk efq efs efv emd emp emx emy "
    "esps evr expressionmap f2r f32 f3r f4a f64 far fda fdp fev fff flac flp fls frg fsb fsm ftm fzb fzf fzv g721 "
    "g723 g726 gbproj gbs gig gio gm gp5 gpbank gpk gpx gro groove gsm h0 hdp hma hmi hsb iaa ics iff igp igr imf "
    "imp ins isma it iti itls its jam jo jo-7z k25 k26 kar kfn kin kit kmp koz kpl krz ksc ksf ksm kt2 kt3 ktp l "
    "la lof logic lqt lso lvp lwv m1a m3u m3u8 m4a m4b m4p m4r ma1 mbr mdl med mgv mid midi mini2sf minincsf "
    "miniusf mka mlp mmf mmm mmp mo3 mod mogg mp1 mp2 mp3 mp_ mpa mpc mpdp mpga mpu mscx mscz msv mt2 mt9 mte mtf "
    "mti mtm mtp mts mu3 mui mus musa mux muz mws mx3 mx4 mx5 mx5template mxl mxmf myr mzp nap nbs ncw nkb nkc "
    "nki nkm nks nkx nml note npl nra nrt nsa nsf nst ntn nvf nwc obw odm ofr oga ogg okt oma omf omg omx opus "
    "orc ots ove ovw pac pat pbf pca pcast pcg pcm pd peak pek pho phy pk pkf pla pls plst ply pna pno ppc ppcx "
    "prg psf psm psy ptf ptm pts ptx pvc qcp r r1m ra ram raw rax rbs rcy record rex rfl rgrp rip rmf rmi rmj rmm "
    "rmx rng rns rol rsn rso rta rti rtm rts rvx rx2 s3i s3m s3z saf sam sap sb sbg sbi sbk sc2 scs11 sd sd2 sd2f "
    "sdat sdii sds sdt sdx seg seq ses sesx sf sf2 sfap0 sfk sfpack sfs sgp shn sib sid slp slx sma smf smp snd "
    "sng sns sou sph sppack sprg spx sseq ssnd stap stm stx sty svd svx sw swa swav sxt syh syn syw syx tak td0 "
    "tfmx tg thx tm2 tm8 tmc toc trak tsp tta tun txw u u8 uax ub ulaw ult ulw uni usf usflib ust uw uwf v2m vag "
    "val vap vb vc3 vdj vgm vgz vlc vmd vmf vmo voc voi vox voxal vpl vpm vqf vrf vsq vtx vyf w01 w64 wav wave "
    "wax wem wfb wfd wfm wfp wma wow wpk wpp wproj wrk wtpl wtpt wus wut wv wvc wve wwu wyz xa xfs xi xm xmf xmi "
    "xmz xp xrns xsb xsp xspf xt xwb ym yookoo zpa zpl zvd zvr";

/// A word of a list: where it begins and how long it is.
struct word
{
    std::uint16_t begin;
    std::uint16_t length;
};

/// The words of a blank-separated list in sorted order. A list with another number of words, or a word twice,
/// does not compile.
template <std::size_t count>
consteval std::array<word, count> sorted_words(std::string_view list)
{
    std::array<word, count> words = {};
    std::size_t found = 0;
    for (std::size_t begin = 0; begin < list.size(); ++found) {
        const std::size_t end = std::min(list.find(' ', begin), list.size());
        words.at(found) = {static_cast<std::uint16_t>(begin), static_cast<std::uint16_t>(end - begin)};
        begin = end + 1;
    }
    const auto text = [list](word w) { return list.substr(w.begin, w.length); };
    std::sort(words.begin(), words.end(), [text](word a, word b) { return text(a) < text(b); });
    const auto same = [text](word a, word b) { return text(a) == text(b); };
    if (found != count || std::adjacent_find(words.begin(), words.end(), same) != words.end())
        throw "a word of the list is missing or repeated";
    return words;
}

constexpr auto image_words = sorted_words<548>(image_extensions);
constexpr auto video_words = sorted_words<133>(video_extensions);
constexpr auto audio_words = sorted_words<545>(audio_extensions);

template <std::size_t count>
bool contains(const char *list, const std::array<word, count> &words, QStringView suffix)
{
    const auto text = [list](word w) { return QLatin1StringView(list + w.begin, w.length); };
    const auto at = std::lower_bound(words.begin(), words.end(), suffix,
                                     [text](word w, QStringView sought) { return text(w) < sought; });
    return at != words.end() && text(*at) == suffix;
}

} // namespace

bool media_extensions::is_image(QStringView suffix)
{
    return contains(image_extensions, image_words, suffix);
}

bool media_extensions::is_video(QStringView suffix)
{
    return contains(video_extensions, video_words, suffix);
}

bool media_extensions::is_audio(QStringView suffix)
{
    return contains(audio_extensions, audio_words, suffix);
}
