#include "collaborators/agent_modules/relevance/material_names.hpp"

#include <array>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "collaborators/agent_modules/relevance/plain_letters.hpp"
#include "structure_ingest/base/text.hpp"

namespace agent_modules {
namespace {

struct Row {
  std::string_view elements;  // symbols, set apart by blanks
  std::string_view names;     // set apart by commas
};

constexpr auto ELEMENT_GASES = std::to_array<Row>({
    {"H", "hydrogen,protium,deuterium,tritium,dihydrogen"},
    {"He", "helium"},
    {"N", "nitrogen,dinitrogen"},
    {"O", "oxygen,dioxygen,ozone"},
    {"F", "fluorine"},
    {"Ne", "neon"},
    {"Cl", "chlorine"},
    {"Ar", "argon"},
    {"Br", "bromine"},
    {"Kr", "krypton"},
    {"Xe", "xenon"},
    {"Rn", "radon"},
});

constexpr auto ELEMENT_SOLIDS = std::to_array<Row>({
    {"Li", "lithium"},
    {"Be", "beryllium"},
    {"B", "boron"},
    {"C", "carbon"},
    {"Na", "sodium,natrium"},
    {"Mg", "magnesium"},
    {"Al", "aluminium,aluminum"},
    {"Si", "silicon"},
    {"P", "phosphorus,phosphorous"},
    {"S", "sulfur,sulphur"},
    {"K", "potassium,kalium"},
    {"Ca", "calcium"},
    {"Sc", "scandium"},
    {"Ti", "titanium"},
    {"V", "vanadium"},
    {"Cr", "chromium"},
    {"Mn", "manganese"},
    {"Fe", "iron"},
    {"Co", "cobalt"},
    {"Ni", "nickel"},
    {"Cu", "copper"},
    {"Zn", "zinc"},
    {"Ga", "gallium"},
    {"Ge", "germanium"},
    {"As", "arsenic"},
    {"Se", "selenium"},
    {"Rb", "rubidium"},
    {"Sr", "strontium"},
    {"Y", "yttrium"},
    {"Zr", "zirconium"},
    {"Nb", "niobium,columbium"},
    {"Mo", "molybdenum"},
    {"Tc", "technetium"},
    {"Ru", "ruthenium"},
    {"Rh", "rhodium"},
    {"Pd", "palladium"},
    {"Ag", "silver"},
    {"Cd", "cadmium"},
    {"In", "indium"},
    {"Sn", "tin"},
    {"Sb", "antimony"},
    {"Te", "tellurium"},
    {"I", "iodine"},
    {"Cs", "caesium,cesium"},
    {"Ba", "barium"},
    {"La", "lanthanum"},
    {"Ce", "cerium"},
    {"Pr", "praseodymium"},
    {"Nd", "neodymium"},
    {"Pm", "promethium"},
    {"Sm", "samarium"},
    {"Eu", "europium"},
    {"Gd", "gadolinium"},
    {"Tb", "terbium"},
    {"Dy", "dysprosium"},
    {"Ho", "holmium"},
    {"Er", "erbium"},
    {"Tm", "thulium"},
    {"Yb", "ytterbium"},
    {"Lu", "lutetium,lutecium"},
    {"Hf", "hafnium"},
    {"Ta", "tantalum"},
    {"W", "tungsten,wolfram"},
    {"Re", "rhenium"},
    {"Os", "osmium"},
    {"Ir", "iridium"},
    {"Pt", "platinum"},
    {"Au", "gold"},
    {"Hg", "mercury,quicksilver"},
    {"Tl", "thallium"},
    {"Bi", "bismuth"},
    {"Po", "polonium"},
    {"At", "astatine"},
    {"Fr", "francium"},
    {"Ra", "radium"},
    {"Ac", "actinium"},
    {"Th", "thorium"},
    {"Pa", "protactinium"},
    {"U", "uranium"},
    {"Np", "neptunium"},
    {"Pu", "plutonium"},
    {"Am", "americium"},
    {"Cm", "curium"},
    {"Bk", "berkelium"},
    {"Cf", "californium"},
    {"Es", "einsteinium"},
    {"Fm", "fermium"},
    {"Md", "mendelevium"},
    {"No", "nobelium"},
    {"Lr", "lawrencium"},
    {"Og", "oganesson"},
});

constexpr auto MOLECULES = std::to_array<Row>({
    {"H O", "water,aqua,hexaaqua,heavy water,hydronium,hydroxyl,hydrogen peroxide"},
    {"C H",
     "methane,ethane,propane,butane,pentane,hexane,heptane,octane,decane,cyclohexane,"
     "cyclopropane,cyclobutane,isobutane,ethylene,ethene,propene,propylene,butene,"
     "butadiene,isoprene,acetylene,ethyne,benzene,toluene,xylene,styrene,naphthalene,"
     "anthracene,tetracene,pentacene,phenanthrene,pyrene,perylene,coronene,azulene,rubrene,"
     "biphenyl,polyethylene,polyacetylene,polystyrene,cubane,adamantane,methyl,ethyl,phenyl,"
     "cyclopentadiene,fulvene,hydrocarbon,picene,chrysene,corannulene,stilbene,limonene"},
    {"C H O",
     "methanol,ethanol,propanol,isopropanol,butanol,phenol,glycol,ethylene glycol,"
     "glycerol,formaldehyde,acetaldehyde,benzaldehyde,acetone,formic acid,acetic acid,"
     "oxalic acid,citric acid,benzoic acid,carboxylic acid,salicylic acid,dimethyl ether,"
     "diethyl ether,ether,furan,tetrahydrofuran,glucose,fructose,sucrose,sugar,cellulose,"
     "aspirin,vanillin,catechol,quinone,benzoquinone,anthraquinone,formate,acetate,"
     "oxalate,carboxylate,methoxy,ketene,lignin,alcohol,epoxide,ibuprofen,paracetamol"},
    {"C H N",
     "pyridine,pyrrole,aniline,acetonitrile,methylamine,dimethylamine,trimethylamine,"
     "hydrogen cyanide,hydrocyanic acid,imidazole,pyrimidine,pyrazine,bipyridine,quinoline,"
     "indole,purine,adenine,melamine,porphyrin,porphine,phthalocyanine,azobenzene,"
     "methylammonium,formamidinium,triazine,nicotine,guanidinium,carbazole"},
    {"C H N O",
     "urea,glycine,alanine,formamide,acetamide,caffeine,guanine,cytosine,thymine,uracil,"
     "serine,proline,isocyanic acid,nitromethane,nitrobenzene,peptide,valine,leucine,"
     "tyrosine,histidine,lysine,dopamine,serotonin,kevlar,nylon"},
    {"C H N O S", "protein,amino acid,cysteine,methionine,insulin,enzyme"},
    {"C H S", "thiophene,thiol,methanethiol,benzenethiol,dithiol,tetrathiafulvalene,alkanethiol"},
    {"C H O S", "dimethyl sulfoxide"},
    {"C H Cl", "chloroform,dichloromethane,chloromethane,chlorobenzene"},
    {"C H F", "fluoromethane,fluoroform,fluorobenzene,difluoromethane"},
    {"C H I", "iodomethane"},
    {"C H Br", "bromomethane,bromobenzene"},
    {"C Cl", "carbon tetrachloride,tetrachloromethane"},
    {"C F", "carbon tetrafluoride,tetrafluoromethane,teflon,hexafluorobenzene"},
    {"C N", "cyanogen,cyano,cyanide ion"},
    {"N H", "ammonia,hydrazine,ammonium,diazene,amino,hydrogen azide"},
    {"C O", "carbon monoxide,carbon dioxide,dry ice,carbonyl,carbonic oxide"},
    {"N O",
     "nitric oxide,nitrogen dioxide,nitrous oxide,nitrogen monoxide,laughing gas,nitrite,"
     "dinitrogen tetroxide"},
    {"H N O", "nitric acid,nitrous acid,hydroxylamine"},
    {"S O", "sulfur dioxide,sulphur dioxide,sulfur trioxide,sulphur trioxide"},
    {"H S O", "sulfuric acid,sulphuric acid"},
    {"H P O", "phosphoric acid"},
    {"H C O", "carbonic acid"},
    {"H Cl", "hydrochloric acid,hydrogen chloride"},
    {"H Cl O", "perchloric acid"},
    {"H F", "hydrofluoric acid,hydrogen fluoride"},
    {"H Br", "hydrobromic acid,hydrogen bromide"},
    {"H I", "hydroiodic acid,hydrogen iodide"},
    {"H S", "hydrogen sulfide,hydrogen sulphide"},
    {"H P", "phosphine"},
    {"H As", "arsine"},
    {"H Si", "silane,disilane"},
    {"H Ge", "germane"},
    {"H Sn", "stannane"},
    {"H B", "borane,diborane"},
    {"H B N", "ammonia borane,borazine"},
    {"S F", "sulfur hexafluoride,sulphur hexafluoride"},
    {"U F", "uranium hexafluoride"},
    {"C S", "carbon disulfide,carbon disulphide"},
    {"C", "fullerene,buckyball,buckminsterfullerene"},
    {"Fe C H", "ferrocene"},
    {"Co C H", "cobaltocene"},
    {"Ni C H", "nickelocene"},
    {"C H Mg N O", "chlorophyll"},
    {"C H Fe N O", "heme,haem"},
    {"Pt N H Cl", "cisplatin"},
});

constexpr auto SOLIDS = std::to_array<Row>({
    {"H O", "ice,snow"},
    {"C",
     "graphene,graphite,carbon nanotube,nanotube,nanodiamond,lonsdaleite,bilayer "
     "graphene,carbyne,graphyne,graphdiyne,diamane,pentagraphene,glassy carbon,carbon fibre,carbon "
     "fiber,charcoal,soot"},
    {"C H", "graphane,polypropylene"},
    {"C O H", "graphene oxide,graphite oxide"},
    {"C N H", "carbon nitride,graphitic carbon nitride"},
    {"B N", "boron nitride,h bn,hbn,c bn,cbn,w bn,white graphene,borazon"},
    {"B", "borophene"},
    {"Si", "silicene"},
    {"Ge", "germanene"},
    {"Sn", "stanene,grey tin,gray tin,white tin"},
    {"Pb", "plumbene"},
    {"P", "phosphorene,black phosphorus,white phosphorus,red phosphorus"},
    {"As", "arsenene"},
    {"Sb", "antimonene"},
    {"Bi", "bismuthene"},
    {"Te", "tellurene"},
    {"Si O",
     "silica,quartz,silicon dioxide,cristobalite,tridymite,coesite,fused silica,"
     "quartz glass,stishovite,silicalite,siliceous zeolite"},
    {"Si C", "silicon carbide,carborundum,moissanite"},
    {"Si N", "silicon nitride"},
    {"Ti O", "titania,titanium dioxide,brookite"},
    {"Zr O", "zirconia,baddeleyite"},
    {"Y Zr O", "yttria stabilised zirconia,yttria stabilized zirconia"},
    {"Hf O", "hafnia"},
    {"Ce O", "ceria"},
    {"Th O", "thoria"},
    {"U O", "urania,uraninite"},
    {"La O", "lanthana"},
    {"Y O", "yttria"},
    {"Sc O", "scandia"},
    {"Mg O", "magnesia,periclase"},
    {"Be O", "beryllia,bromellite"},
    {"Al O", "alumina,sapphire,corundum"},
    {"Al O Cr", "ruby"},
    {"Al O H", "boehmite,gibbsite,diaspore,bayerite"},
    {"Mg O Fe", "ferropericlase,magnesiowustite"},
    {"Fe O", "haematite,hematite,magnetite,maghemite,wustite,ferrous oxide,ferric oxide"},
    {"Fe O H", "goethite,lepidocrocite,akaganeite,ferrihydrite,green rust"},
    {"Fe S", "fool gold,troilite,pyrrhotite,greigite,mackinawite"},
    {"Cu Fe S", "chalcopyrite,bornite"},
    {"Fe As S", "arsenopyrite"},
    {"Zn O", "zincite,zinc white"},
    {"Cu O", "cuprite,tenorite"},
    {"Cu S", "chalcocite,covellite"},
    {"Cu C O H", "malachite,azurite,verdigris"},
    {"Sn O", "cassiterite"},
    {"Mn O", "pyrolusite,hausmannite,manganosite"},
    {"Ni O", "bunsenite"},
    {"Ni As", "nickeline"},
    {"Cr O", "eskolaite,chromia"},
    {"V O", "vanadia"},
    {"In Sn O", "indium tin oxide"},
    {"Na Cl", "table salt,sodium chloride,common salt"},
    {"K Cl", "sylvite"},
    {"Ag Cl", "chlorargyrite"},
    {"Ag S", "argentite,acanthite"},
    {"Pb S", "galena"},
    {"Hg S", "cinnabar,vermilion,metacinnabar"},
    {"As S", "realgar,orpiment"},
    {"Sb S", "stibnite"},
    {"Bi S", "bismuthinite"},
    {"Mo S", "molybdenite"},
    {"W S", "tungstenite"},
    {"Cd S", "greenockite"},
    {"Ca F", "fluorspar"},
    {"Na Al F", "cryolite"},
    {"Ca C O", "aragonite,vaterite,limestone"},
    {"Mg C O", "magnesite"},
    {"Ca Mg C O", "dolomite"},
    {"Fe C O", "siderite"},
    {"Mn C O", "rhodochrosite"},
    {"Zn C O", "smithsonite"},
    {"Ca O H", "portlandite,slaked lime"},
    {"Ca O", "quicklime"},
    {"Mg O H", "brucite"},
    {"Ca S O H", "gypsum,plaster,bassanite"},
    {"Ca S O", "anhydrite"},
    {"Ba S O", "barite,baryte"},
    {"Mg S O H", "epsomite,kieserite,epsom salt"},
    {"Ca P O H F Cl", "apatite,hydroxyapatite,hydroxylapatite,fluorapatite"},
    {"Mg Si O", "forsterite,enstatite,bridgmanite,wadsleyite,ringwoodite"},
    {"Fe Si O", "fayalite"},
    {"Mg Fe Si O", "peridotite"},
    {"Mg Ca Si O", "diopside"},
    {"Ca Si O", "wollastonite,larnite"},
    {"Zr Si O", "zircon"},
    {"Al Si O", "mullite,kyanite,andalusite,sillimanite,aluminosilicate"},
    {"Al Si O H", "kaolinite,kaolin,halloysite,pyrophyllite"},
    {"Al Si O H F", "topaz"},
    {"K Al Si O H", "muscovite,illite"},
    {"Na Al Si O", "albite,nepheline,jadeite"},
    {"Ca Al Si O", "anorthite"},
    {"K Al Si O", "orthoclase,microcline,leucite,sanidine"},
    {"Na Ca K Al Si O", "feldspar"},
    {"Na Ca Al Si O H Mg",
     "montmorillonite,smectite,bentonite,sodalite,faujasite,chabazite,"
     "zeolite a,zeolite y,mordenite"},
    {"Mg Si O H", "talc,serpentine,chrysotile,antigorite,lizardite"},
    {"Li Al Si O", "spodumene,eucryptite,petalite"},
    {"Be Al Si O", "beryl,aquamarine"},
    {"Fe Ti O", "ulvospinel"},
    {"Fe Cr O", "chromite"},
    {"Ca W O", "scheelite"},
    {"Fe Mn W O", "wolframite"},
    {"B Na O H", "borax"},
    {"B H O", "boric acid"},
    {"Fe C", "cementite,austenite,martensite,pearlite,cast iron"},
    {"Fe C Cr Ni Mn Mo Si", "stainless steel"},
    {"Fe C Cr Ni Mn Mo Si V W", "steel,carbon steel,tool steel"},
    {"Fe Ni", "invar,permalloy"},
    {"Ni Ti", "nitinol"},
    {"Ni Cr Fe", "nichrome,inconel"},
    {"Cu Zn", "brass"},
    {"Cu Ni Zn", "nickel silver,german silver"},
    {"Cu Sn", "bronze"},
    {"Au Ag", "electrum,white gold"},
    {"Al Ni Co Fe", "alnico"},
    {"Al Cu", "duralumin"},
    {"Pb Zr Ti O", "lead zirconate titanate"},
    {"Y Al O", "yttrium aluminium garnet,yttrium aluminum garnet"},
    {"Pb Mg Nb O Ti", "pmn pt"},
    {"C H N Pb I", "methylammonium lead iodide,mapbi3,fapbi3,fapi"},
    {"C H N Pb Br", "mapbbr3,fapbbr3"},
    {"C H N Pb Cl", "mapbcl3"},
    {"C H N Sn I", "masni3,fasni3"},
    {"C H N Pb Sn I Br Cl Cs",
     "hybrid perovskite,halide perovskite,lead halide perovskite,"
     "organic inorganic perovskite"},
    {"Cu Zn Sn S Se", "kesterite"},
    {"Al Ga As", "algaas"},
    {"In Ga As", "ingaas"},
    {"In Ga N", "ingan"},
    {"Al Ga N", "algan"},
    {"Si Ge", "sige"},
    {"Li Ni Mn Co O", "nmc811,nmc111,nmc622,ncm811,nmc532"},
    {"Li P S Cl Br I", "argyrodite"},
    {"Fe C N K", "prussian blue"},
    {"C H O Zn", "mof 5,mof5"},
    {"C H N Zn", "zif 8,zif8"},
    {"Sm Co", "samarium cobalt"},
    {"C H O N S", "wood,silk"},
    {"C H O F S", "nafion"},
    {"C H O", "polymethylmethacrylate,polyester"},
});

/// Abbreviations, which are names only where they are written with capitals.
constexpr auto ABBREVIATIONS = std::to_array<Row>({
    {"In Sn O", "ito"},
    {"Al Zn O", "azo"},
    {"F Sn O", "fto"},
    {"In Ga Zn O", "igzo"},
    {"Pb Zr Ti O", "pzt"},
    {"Sr Ti O", "sto"},
    {"Ba Ti O", "bto"},
    {"Pb Ti O", "pto"},
    {"Ba Sr Ti O", "bst"},
    {"Ba Zr O", "bzo"},
    {"Bi Fe O", "bfo"},
    {"La Al O", "lao"},
    {"La Mn O", "lmo"},
    {"La Sr Mn O", "lsmo"},
    {"La Ca Mn O", "lcmo"},
    {"La Sr Co O Fe", "lscf,lsco"},
    {"Sr Ru O", "sro"},
    {"Y Ba Cu O", "ybco"},
    {"Bi Sr Ca Cu O", "bscco"},
    {"Y Fe O", "yig"},
    {"Y Al O", "yag"},
    {"K Na Nb O", "knn"},
    {"Pb Mg Nb O Ti", "pmn"},
    {"K H P O", "kdp"},
    {"K Ti P O", "ktp"},
    {"Cu In Ga Se", "cigs"},
    {"Cu Zn Sn S Se", "czts,cztse"},
    {"Ge Sb Te", "gst"},
    {"Li Co O", "lco"},
    {"Li Fe P O", "lfp"},
    {"Li Ni Mn Co O", "nmc,ncm"},
    {"Li Ni Co Al O", "nca"},
    {"Li Mn O Ni", "lnmo"},
    {"Li Ti O", "lto"},
    {"Li La Zr O Al Ta", "llzo"},
    {"Li Ge P S", "lgps"},
    {"Li P O N", "lipon"},
    {"Na Zr Si P O", "nasicon"},
    {"Y Zr O", "ysz"},
    {"C H O N S", "pedot"},
    {"C H O", "pmma,pva,thf,peg,pet,pla,ptcda,pcbm"},
    {"C", "cnt,cnts,swcnt,swcnts,mwcnt,hopg,gnr,gnrs"},
    {"C H N Pb I", "mapi,mapbi"},
    {"C H N Pb Br", "mapb"},
    {"C H N O P", "dna,rna,atp"},
    {"C H O S", "dmso"},
    {"C F", "ptfe"},
    {"C H N O", "dmf,pvp,ptcdi"},
    {"C H N S F O", "tfsi,litfsi"},
    {"C H Cl", "pvc"},
    {"C H S", "p3ht,ttf"},
    {"C H N", "tcnq,tcne,pan,dabco"},
    {"C H F", "pvdf"},
    {"C H N F", "f4tcnq"},
});

constexpr auto POSSIBLE_ABBREVIATIONS = std::to_array<Row>({
    {"B P", "bp"},
    {"H O", "her,oer,orr"},
    {"C O H", "co2rr"},
    {"N H", "nrr"},
    {"Mo W S Se Te", "tmd,tmds,tmdc,tmdcs"},
});

/// Structure types as well as minerals.
constexpr auto PROTOTYPES = std::to_array<Row>({
    {"C", "diamond"},
    {"C O Ca", "calcite"},
    {"Na Cl", "rock salt,rocksalt,halite,nacl"},
    {"Cs Cl", "cscl,caesium chloride,cesium chloride"},
    {"Ca F", "fluorite"},
    {"Ti O", "rutile,anatase"},
    {"Al O", "corundum"},
    {"Fe S", "pyrite,marcasite"},
    {"Fe Ti O", "ilmenite"},
    {"Mg Al O", "mgal2o4"},
    {"Ni As", "nias"},
    {"Cd I", "cdi2"},
    {"Cd Cl", "cdcl2"},
    {"Mn Fe O", "bixbyite"},
    {"Ca Ti O", "catio3"},
    {"Cu Au", "cuau,cu3au"},
    {"Zn S", "zns"},
    {"Ca F", "caf2"},
    {"K Ni F", "k2nif4"},
    {"Al B", "alb2"},
    {"Mg Cu", "mgcu2"},
    {"Mg Zn", "mgzn2"},
    {"Th Cr Si", "thcr2si2"},
});

/// Ordinary words that name a material at times, and names that leave it open which one is meant.
constexpr auto POSSIBLE = std::to_array<Row>({
    {"Pb", "lead"},
    {"Co Al O", "cobalt blue"},
    {"Co Si O K", "cobalt glass"},
    {"Zn C H N O S", "zinc finger,zn finger"},
    {"Zn S", "wurtzite,zincblende,zinc blende,sphalerite"},
    {"Ca Ti O", "perovskite"},
    {"Mg Al O", "spinel"},
    {"Mg Fe Si O", "olivine,pyroxene"},
    {"Ca Mg Fe Al Si O", "garnet"},
    {"Si Al O Na H", "zeolite,clay,mica,glass"},
    {"Cu Fe O", "delafossite"},
    {"Ca O", "lime"},
    {"Ca C O", "chalk,marble"},
    {"Na Cl", "salt"},
    {"H O Na Cl K Mg Ca S", "brine,sea water,seawater,saline,salt water"},
    {"C H N O F S P", "polymer,ionomer"},
    {"K Al S O H", "alum"},
    {"Na C O H", "soda"},
    {"Fe O H", "rust"},
    {"Cr", "chrome"},
    {"Si O H", "opal"},
    {"C", "coal,diamond anvil,diamond anvils,diamond anvil cell,carbon paper,carbon support"},
    {"C H N O", "amber"},
    {"H O",
     "steam,vapour,moisture,humidity,heavy ice,hydrogen bond,hydrogen bonding,"
     "hydrogen bonded,water splitting"},
    {"Si O", "quartz tube,quartz crucible,quartz microbalance,glassware"},
    {"Cu", "cu k,copper k alpha,cu kalpha"},
    {"Mo", "mo k,mo kalpha"},
    {"He", "liquid helium,helium temperature,helium temperatures"},
    {"N", "liquid nitrogen,nitrogen temperature,nitrogen atmosphere"},
    {"Ar", "argon atmosphere,argon flow,argon glovebox,argon plasma"},
    {"C O", "co2 laser"},
    {"Ti O H C F Cl", "mxene,mxenes"},
    {"H O",
     "corrosion,hydration,hydrated,hydrate,aqueous,hydroxylation,hydroxylated,"
     "hydrolysis,electrolysis,dehydration,dehydrated,protonation,deprotonation,humid,wet"},
    {"C O H", "combustion"},
    {"N H", "haber,ammoniation"},
    {"O",
     "oxidation,oxidised,oxidized,oxygenated,oxygenation,oxidise,oxidize,oxidising,oxidizing,"
     "oxo"},
    {"H",
     "hydrogenation,hydrogenated,hydrogenate,dehydrogenation,proton,protonated,protons,"
     "hydrogenic,deuterated"},
    {"N", "nitridation,nitrided,nitriding"},
    {"S", "sulfidation,sulfidized,sulphidation,sulfurization,sulphurisation"},
    {"Se", "selenization,selenisation"},
    {"F", "fluorination,fluorinated"},
    {"Cl", "chlorination,chlorinated"},
    {"Br", "bromination,brominated"},
    {"I", "iodination,iodinated"},
    {"C", "carburization,carburisation,carbonization,graphitization,graphitic,fullerite"},
    {"C H", "methylation,methylated"},
    {"Li", "lithiation,lithiated,delithiation,delithiated"},
    {"Na", "sodiation,sodiated,desodiation"},
    {"K", "potassiation"},
    {"Mg", "magnesiation"},
    {"Si", "silanized"},
    {"C H Si O", "silicone"},
});

/// Words that go with another name: the anion of a compound, or its cation as an adjective.
constexpr auto ANIONS = std::to_array<Row>({
    {"O",
     "oxide,dioxide,monoxide,trioxide,pentoxide,tetroxide,sesquioxide,suboxide,peroxide,"
     "superoxide,heptoxide"},
    {"S", "sulfide,sulphide,disulfide,disulphide,trisulfide,monosulfide,polysulfide"},
    {"Se", "selenide,diselenide,triselenide,monoselenide"},
    {"Te", "telluride,ditelluride,tritelluride"},
    {"N", "nitride,azide,dinitride,oxynitride"},
    {"P", "phosphide,diphosphide"},
    {"As", "arsenide,diarsenide"},
    {"Sb", "antimonide,stibnide"},
    {"Bi", "bismuthide"},
    {"C", "carbide,dicarbide,acetylide"},
    {"Si", "silicide,disilicide"},
    {"Ge", "germanide"},
    {"B", "boride,diboride,hexaboride,tetraboride,dodecaboride"},
    {"H", "hydride,dihydride,trihydride,tetrahydride,polyhydride,deuteride"},
    {"F", "fluoride,difluoride,trifluoride,tetrafluoride,hexafluoride"},
    {"Cl", "chloride,dichloride,trichloride,tetrachloride,hexachloride,monochloride"},
    {"Br", "bromide,dibromide,tribromide,tetrabromide"},
    {"I", "iodide,diiodide,triiodide,tetraiodide"},
    {"O H", "hydroxide,oxyhydroxide,hydroperoxide"},
    {"O F", "oxyfluoride"},
    {"O Cl", "oxychloride,chlorate,perchlorate,chlorite,hypochlorite"},
    {"O Br", "bromate"},
    {"O I", "iodate,periodate"},
    {"C N", "cyanide,ferricyanide,cyanamide"},
    {"C N S", "thiocyanate"},
    {"C O", "carbonate"},
    {"C O H", "bicarbonate,hydrogencarbonate"},
    {"N O", "nitrate"},
    {"S O", "sulfate,sulphate,sulfite,sulphite,thiosulfate"},
    {"P O", "phosphate,pyrophosphate,metaphosphate,orthophosphate"},
    {"P F", "hexafluorophosphate"},
    {"B F", "tetrafluoroborate"},
    {"B H", "borohydride"},
    {"Al H", "alanate,aluminium hydride"},
    {"N H", "amide,imide,hydrazide"},
    {"B O", "borate"},
    {"Si O", "silicate,orthosilicate,metasilicate"},
    {"Ge O", "germanate"},
    {"Sn O", "stannate"},
    {"Al O", "aluminate"},
    {"Ga O", "gallate"},
    {"Ti O", "titanate"},
    {"Zr O", "zirconate"},
    {"Hf O", "hafnate"},
    {"V O", "vanadate"},
    {"Nb O", "niobate"},
    {"Ta O", "tantalate"},
    {"Cr O", "chromate,dichromate"},
    {"Mo O", "molybdate"},
    {"W O", "tungstate"},
    {"Mn O", "manganite,manganate,permanganate"},
    {"Fe O", "ferrite,ferrate"},
    {"Co O", "cobaltate,cobaltite"},
    {"Ni O", "nickelate"},
    {"Cu O", "cuprate"},
    {"Ru O", "ruthenate"},
    {"Ir O", "iridate"},
    {"Os O", "osmate"},
    {"Re O", "perrhenate,rhenate"},
    {"As O", "arsenate,arsenite"},
    {"Sb O", "antimonate"},
    {"Bi O", "bismuthate"},
    {"Te O", "tellurate,tellurite"},
    {"Se O", "selenate,selenite"},
    {"U O", "uranate,uranyl"},
    {"Pb O", "plumbate"},
    {"F Cl Br I", "halide,halides,oxyhalide"},
    {"S Se Te", "chalcogenide,dichalcogenide"},
    {"N P As Sb Bi", "pnictide"},
});

constexpr auto CATIONS = std::to_array<Row>({
    {"Fe", "ferric,ferrous"},
    {"Cu", "cupric,cuprous"},
    {"Sn", "stannic,stannous"},
    {"Pb", "plumbous,plumbic"},
    {"Cr", "chromic,chromous"},
    {"Co", "cobaltous,cobaltic"},
    {"Mn", "manganous,manganic"},
    {"Hg", "mercuric,mercurous"},
    {"Au", "aurous,auric"},
    {"Ti", "titanous,titanic acid"},
    {"Ce", "ceric,cerous"},
});

/// Formulas that are recognised without their capitals, for they are no words.
constexpr auto FORMULAS = std::to_array<std::string_view>(
    {"nacl", "kcl",  "licl", "lif",  "naf",  "nabr", "kbr",   "csi",   "cscl", "csbr", "rbcl",
     "agcl", "agbr", "agi",  "mgo",  "cao",  "sro",  "bao",   "beo",   "zno",  "cdo",  "nio",
     "feo",  "cuo",  "tio",  "zns",  "znse", "znte", "cds",   "cdse",  "cdte", "hgte", "hgse",
     "hgs",  "pbs",  "pbse", "pbte", "snse", "sns",  "snte",  "gete",  "gese", "gase", "gan",
     "aln",  "gaas", "gasb", "inas", "inp",  "insb", "alas",  "alp",   "alsb", "sic",  "tic",
     "zrn",  "nbn",  "hfn",  "crn",  "lih",  "nah",  "mgs",   "hcl",   "hbr",  "hcn",  "koh",
     "naoh", "lioh", "feni", "fept", "copt", "cuau", "niti",  "tial",  "nial", "fese", "fes",
     "nis",  "cuzn", "sige", "mnas", "mnsi", "h2o",  "co2",   "no2",   "so2",  "nh3",  "ch4",
     "n2o",  "h2s",  "c60",  "mos2", "ws2",  "wse2", "mose2", "mote2", "wte2", "fes2", "cui",
     "cucl", "cubr", "mgb2"});

using NameTable = std::unordered_map<std::string, NamedMaterial>;

void add_rows(NameTable& table, auto rows, const NamedMaterial& traits) {
  for (const Row& row : rows) {
    NamedMaterial material = traits;
    std::string_view symbols = row.elements;
    for (;;) {
      const std::string_view symbol = structure_ingest::internal::next_token(symbols);
      if (symbol.empty()) break;
      material.elements.emplace(symbol);
    }
    for (std::string_view names = row.names; !names.empty();)
      table.insert_or_assign(std::string(cut_item(names)), material);
  }
}

NameTable name_table() {
  NameTable table;
  add_rows(table, ELEMENT_GASES, {.sort = Sort::molecule});
  add_rows(table, ELEMENT_SOLIDS, {});
  add_rows(table, MOLECULES, {.sort = Sort::molecule});
  add_rows(table, SOLIDS, {});
  add_rows(table, ABBREVIATIONS, {.capitals = true});
  add_rows(table, POSSIBLE_ABBREVIATIONS, {.naming = Naming::possible, .capitals = true});
  add_rows(table, PROTOTYPES, {.prototype = true});
  add_rows(table, POSSIBLE, {.naming = Naming::possible});
  add_rows(table, ANIONS, {.naming = Naming::anion});
  add_rows(table, CATIONS, {.naming = Naming::anion});
  return table;
}

}  // namespace

const NamedMaterial* material_named(std::string_view name) {
  static const NameTable table = name_table();
  const auto named = table.find(std::string(name));
  if (named != table.end()) return &named->second;
  constexpr std::size_t SHORTEST_PLURAL = 6;  // leads and tins are no metals
  if (name.size() < SHORTEST_PLURAL || name.back() != 's') return nullptr;
  const auto singular = table.find(std::string(name.substr(0, name.size() - 1)));
  return singular == table.end() ? nullptr : &singular->second;
}

bool is_well_known_formula(std::string_view lower_case_text) {
  static const std::unordered_set<std::string_view> formulas(FORMULAS.begin(), FORMULAS.end());
  return formulas.contains(lower_case_text);
}

}  // namespace agent_modules
