#include "collaborators/agent_modules/relevance/request_words.hpp"

#include <array>
#include <cstddef>
#include <unordered_set>

#include "collaborators/agent_modules/relevance/plain_letters.hpp"

namespace agent_modules {
namespace {

struct Row {
  WordKind kind;
  std::string_view words;  // set apart by commas
};

using enum WordKind;

constexpr auto ROWS = std::to_array<Row>({
    {idiom,
     "gold standard,gold standards,gold medal,gold medals,gold open access,gold rush,gold mine,"
     "going for gold,silver bullet,silver bullets,silver lining,silver medal,silver screen,"
     "silver platter,iron out,iron outs,irons out,ironed out,ironing out,iron man,iron curtain,"
     "iron fist,iron rule,ironclad,carbon copy,carbon copies,carbon footprint,carbon footprints,"
     "carbon neutral,carbon neutrality,carbon dating,carbon emission,carbon emissions,carbon tax,"
     "carbon budget,neon sign,neon signs,neon light,neon lights,neon green,neon colour,neon color,"
     "neon yellow,neon pink,tin can,tin cans,tin soldier,tin foil hat,tin opener,tin ear,"
     "lead author,lead authors,lead to,leads to,lead time,lead times,lead developer,lead engineer,"
     "lead scientist,lead investigator,lead role,lead us,lead me,lead the,lead a,lead by,lead into,"
     "lead on,lead over,to lead,will lead,can lead,could lead,would lead,may lead,might lead,"
     "mercury orbit,mercury orbits,planet mercury,mercury perihelion,mercury program,"
     "mercury software,mercury viewer,perihelion of mercury,orbit of mercury,golden rule,"
     "golden ratio,ruby script,ruby scripts,ruby gem,ruby on rails,radon transform,rust code,"
     "rust compiler,rust crate,amber force,amber force field,amber alert,oxygen xml,"
     "platinum sponsor,platinum member,platinum membership,silver surfer,bronze medal,"
     "silicon valley,salt lake,grain of salt,pinch of salt,ice age,ice cream,break the ice,"
     "tip of the iceberg,glass ceiling,glass of water,test the water,test the waters,"
     "water under the,watered down,water down,snow white,diamond scheme,rough diamond,"
     "nickel and dime,cobalt strike,sapphire rapids,iron law,steel man,nerves of steel,"
     "steel yourself,sugar coat,sugar coating,smoke and mirrors,diamond light,silver star,"
     "heart of gold,worth gold,gold star,chalk it,chalk up,litmus test,acid test,"
     "selenium webdriver,bronze age,iron age,hydrogen like,hydrogenlike,potassium argon dating,"
     "gas phase,vapour phase,vapor phase,liquid phase,solid phase,system size,metal insulator,"
     "point defect,unit cell,each other,on the other hand,other hand,i v,p v,c v,j v,e v,p e,"
     "operating system,crystal system,finite element,finite elements"},
    {jargon,
     "scf,nscf,dft,pbe,pbes,pbesol,lda,gga,hse,hse06,hse03,pbe0,b3lyp,blyp,b3pw91,scan,r2scan,"
     "rscan,tpss,m06,cpu,cpus,gpu,gpus,soc,us,uspp,paw,oncv,nc,ncpp,upf,psf,sssp,gth,cp2k,vasp,"
     "poscar,contcar,incar,kpoints,potcar,outcar,chgcar,xdatcar,procar,wavecar,doscar,eigenval,cif,"
     "xyz,extxyz,pdb,json,yaml,xml,html,csv,hdf5,pdf,png,svg,txt,dos,pdos,ldos,jdos,phdos,ipdos,"
     "homo,lumo,vbm,cbm,cohp,icohp,pcohp,coop,cobi,md,aimd,bomd,cpmd,pimd,neb,ci,cineb,cis,cisd,cc,"
     "ccsd,ccsdt,mp2,mp3,mp4,mp2c,rpa,bse,gw,g0w0,evgw,qsgw,tddft,tddfpt,dfpt,dmft,vmc,dmc,qmc,fci,"
     "casscf,caspt2,nevpt2,rhf,uhf,rohf,rks,uks,ks,hpc,pbs,slurm,mpi,openmp,omp,cuda,ram,ssd,hdd,"
     "io,os,osx,api,gui,cli,url,http,https,faq,usa,eu,uk,un,nato,phd,msc,bsc,nvt,nve,npt,nph,npv,"
     "bfgs,lbfgs,fire,cg,rmm,diis,fft,fftw,blas,mkl,esp,nbo,nmr,epr,esr,xps,ups,xrd,xas,xanes,"
     "exafs,eels,arpes,stm,afm,tem,sem,stem,leed,rheed,ir,ftir,uv,vis,vuv,ssh,scp,sftp,bz,ibz,fcc,"
     "bcc,hcp,sc,dhcp,bct,cop,cost,nan,inf,id,ok,iv,ii,iii,vi,vii,viii,pc,pcs,pi,ps,fs,ev,ry,ha,"
     "gpa,mpa,kbar,kpa,mev,rmsd,rms,mae,rmse,cbs,bsse,zpe,zpve,tst,gip,gipaw,efg,sp,sp2,sp3,spd,dz,"
     "tz,qz,dzp,tzp,tz2p,tzvp,def2,svp,vdw,vdwdf,dftd,bj,mbd,ts,afqmc,ml,mlip,mlff,gap,mace,nn,nnp,"
     "gnn,ai,llm,ace,snap,reaxff,uff,opls,charmm,gaff,lj,eam,meam,ion,nist,icsd,cod,mp,oqmd,aflow,"
     "aiida,nomad,doi,isbn,arxiv,prb,prl,acs,rsc,ieee,nasa,cern,ase,ecut,ecutwfc,ecutrho,degauss,"
     "nbnd,nspin,nk,npool,nproc,qe,pw,ph,pp,bands,conv,thr,fm,nm,pm,fim,2d,3d,1d,0d,dcd,qha,gsf,"
     "gsfe,sfe,eos,pes,lo,to,la,ta,eph,epc,epw,bte,tb,w90,mlwf,wf,wfc,rho,xc,exx,ldau,dftu,dftb,"
     "xtb,gfn2,gfn1,pm3,pm6,pm7,am1,wb97xd,wb97x,cam,lc,rsh,dh,sapt,eda,qtaim,aim,elf,rdg,nci,icp,"
     "vpt2,cosmo,pcm,smd,smx,qmmm,mm,fem,cfd,tips,asap,fyi,btw,eg,ie,am,todo,readme,note,nb,utc,"
     "gmt,cet,iso,ansi,utf,utf8,ascii,s0,s1,s2,t1,t0,l10,l12,a15,b1,b2,b3,b4,d03,c14,c15,c36,p1,c1,"
     "c2,c3,cs,c2v,c3v,c4v,c6v,d2,d3,d4,d3bj,d2h,d3h,d4h,d6h,td,ih,v0,b0,k1,k2,e0,r0,a0,h1,g2,n1,"
     "u1,u2,y1,x1,o1,w1,f1,i1,spin,phonon,phonons,boson,union,once,focus,how,now,who,on,of,if,up,"
     "so,by,pin,pins,bin,bins,script,basis,run,use,cpc,sos,hop,cap,caps,info,pico,in situ,operando,"
     "csp,uspex,calypso,airss,icet,atat,sqs,cvm,kmc,gcmc,mc,mcmc,rdf,msd,vacf,vdos,pca,svm,tsne,"
     "umap,ssc,usp,rkky,dmi,mca,smm,lst,tlst,plt,fig,figs,tab,eq,eqs,sec,ref,refs,doe,nsf,erc,dfg,"
     "epsrc,jsc,nersc,prace,cscs,esrf,spam,cas,sn,ss,ppm,ppb,rpm,fps,dpi,rgb,cmyk,lcao,apw,lapw,"
     "flapw,lmto,kkr,cpa,nscan,mgga,gaus,vqe,qpe,siesta,abinit,castep,fhi,nwchem,orca,gaussian,"
     "gamess,molpro,turbomole,lammps,gromacs,namd,crystal,wien2k,elk,fleur,exciting,gpaw,pyscf,"
     "psi4,qmcpack,yambo,berkeleygw,wannier90,vesta,xcrysden,ovito,avogadro,jmol,pymol,phonopy,"
     "spglib,pymatgen,quantum,espresso,dftk,crest,lyp,vwn,pw91,pz,pw92,revpbe,rpbe,optb88,optb86b,"
     "vdw-df2,df2,rvv10,vv10,ddh,tb09,mbj,sic,acbn0,lrt,hubbard,u-j,asd,ssw,wca,tip3p,tip4p,spc,"
     "npbc,pbc,obc,abc,ibrav,celldm,nat,ntyp"},
    {negation,
     "not,without,except,excluding,exclude,excludes,never,neither,nor,avoid,avoiding,ignore,"
     "ignoring,skip,skipping,omit,omitting,unlike,besides,cannot,minus,forget,discard,discarding,"
     "remove,removing,drop,dropping,instead of,rather than,other than,apart from,aside from,"
     "but for,as opposed to,in place of,nothing to do,different from,replace,replacing,leave out,"
     "leaving out,than,compared to,compared with,in comparison,relative to"},
    {short_negation, "no,non,none of,free of"},
    {dismissal,
     "excluded,ignored,skipped,omitted,irrelevant,finished,done,is not,are not,was not,were not,"
     "isn't,aren't,wasn't,unneeded,dropped,removed,discarded,free,already,deleted,not needed,"
     "outdated,obsolete,can wait"},
    {reference,
     "as for,as with,as in,as we did,like,similar to,similarly to,analogous to,same,identical to,"
     "previous,previously,yesterday,earlier,formerly,last time,last week,last month,last year,"
     "tutorial,tutorials,template,such as,e.g,e.g.,for example,for instance,inspired by,in analogy,"
     "analogously,reminiscent,based on the,borrowed,copied,imagine,for reference,already,after the,"
     "before the,until now,so far,used to,once had,originally,known from,worked for,works for,"
     "worked on,worked with,fine for,as was,just as,calibrated on,benchmarked on,tested on,"
     "tested with,validated on,validated for,trained on,fitted to,parametrised for,"
     "parameterized for,in the spirit,following the,learned from,successful for,succeeded for,"
     "reported for,published for,known for,typical of,typical for,suggested for,recommended for,"
     "manual,documentation,lecture,textbook,course,exercise,if it were,the way,colour,color,"
     "colours,colors,coloured,colored,colouring,coloring,paint,painted,shaded,legend,et al,"
     "workflow of,paper of,paper by,paper on,paper about,article on,work of,work by,method of,"
     "approach of,scheme of,recipe of,recipe for,procedure of,see also,cited,according to,"
     "proposed by,invented by,thesis,review of,review on,talk on,talk about,seminar,heard,"
     "read about,remember,worked,works,thanks,thank,helped,help with,went well,convergence test,"
     "convergence tests"},
    {type_marker,
     "structure,structures,structured,lattice,phase,phases,prototype,crystal,symmetry,polymorph,"
     "form,arrangement,cell,polytype,variant,order,ordering,coordination,stacking,network,"
     "framework,motif,geometry,based,containing,bearing"},
    {any_type_marker,
     "like,type,types,typed,analog,analogue,analogues,analogs,isostructural,derived,prototype,"
     "inspired,mimic,mimicking,esque,group,based,bearing,containing,rich,poor,enriched"},
    {open,
     "other,others,another,rest,remaining,remainder,everything,anything,etc,et cetera,all of them,"
     "all of these,them all,the lot,whatever,whichever,unknown,unnamed,unspecified,library,"
     "libraries,database,databases,screening,dataset,datasets,high throughput,throughput,"
     "related compounds,similar compounds,mystery,uploaded,upload,uploads,supplied,enclosed,"
     "attachment,attachments,provided structure,provided structures,provided file,provided files,"
     "provided cif,given structure,given file,given structures,given files,workspace,folder,"
     "folders,directory,directories,second one,next one,new one,the one,this one,that one,the ones,"
     "these ones,counterpart,counterparts,analogues,congeners,homologues,derivative,derivatives,"
     "competing,competitor,competitors,candidates,candidate,favourite,favorite,my own,secret,"
     "confidential,customer,replacement,precursor,precursors,byproduct,byproducts,product,products,"
     "reactant,reactants,educt,educts,decomposition,attached,...,and so on,and so forth,how about,"
     "what about,remains,mine,ours,yours,theirs,references,reference state,reference states,"
     "reference phase,before i,before we,start with,starting with,begin with,beginning with,"
     "afterwards,afterward,move on,next question,next task,substitutes,substitute for,iii v,ii vi,"
     "iv vi,group iii,group iv,group v,group vi,my paper,our paper,my project,our project,"
     "my thesis,my experiment,our experiment,my data,our data,my work,our work"},
    {open_unless_named,
     "substrate,substrates,electrode,electrodes,contact,contacts,acceptor,acceptors,donor,donors,"
     "dopant,dopants,adsorbate,adsorbates,adsorbent,adsorber,ligand,ligands,solvent,solvents,"
     "solvated,solute,solutes,electrolyte,electrolytes,anode,anodes,cathode,cathodes,catalyst,"
     "catalysts,cocatalyst,photocatalyst,electrocatalyst,promoter,promoters,intercalant,"
     "intercalants,guest,guests,host,hosts,inhibitor,surfactant,surfactants,filler,buffer,"
     "barrier layer,counterion,counterions,counter ion,metal,metals,metallic layer,semiconductor,"
     "semiconductors,insulator,insulators,dielectric layer,perovskites,spinels,zeolites,mof,mofs,"
     "cof,cofs,framework material,polymers,proteins,alloys,oxides,halides,sulfides,nitrides,"
     "carbides,ceramic,ceramics,mineral,minerals,superconductor,superconductors,heusler,"
     "half heusler,ferroelectric,ferroelectrics,multiferroic,magnet,magnets,clathrate,clathrates,"
     "quasicrystal,polyelectrolyte,organic,organics,drug,dye,pigment,binder,coating,coatings,cap,"
     "capping,encapsulant,encapsulation,overlayer,underlayer,spacer,spacers,passivation,additive,"
     "additives,flux,precipitate,precipitates,inclusion,inclusions,impurity,impurities,adatom,"
     "adatoms,interstitial,interstitials,cation,cations,anion,anions,counterpart,gas,gases,liquid,"
     "liquids,mixture,mixtures,compound,compounds,material,materials,system,systems,sample,samples,"
     "specimen,salt,salts,acid,acids,base metal,noble metal,transition metal,transition metals,"
     "rare earth,rare earths,lanthanide,lanthanides,actinide,actinides,alkali,alkaline,halogen,"
     "halogens,chalcogen,pnictogen,monolayers,2d material,2d materials,layered material,membrane,"
     "polycation,file,files,cif,cifs,poscar,contcar,coordinates,structures,crystals,bulk phase,"
     "phases,polymorphs,element,elements,species,superalloy,superalloys,chemical,chemicals,reagent,"
     "reagents,nanocomposite,chromophore,biomolecule,series,family,families,zeolite,perovskite,"
     "spinel,garnet,clay,mxene,mxenes,tmd,tmds,tmdc,tmdcs,glass,absorber,absorbers,emitter,ore,"
     "ores,adduct,matrix material,polymer,ionomer,ions,phosphor,phosphors,scintillator,protein,"
     "enzyme"},
    {open_unless_molecule,
     "molecule,molecules,radical,radicals,dimer,dimers,trimer,monomer,monomers,oligomer"},
    {open_unless_solid,
     "surface,surfaces,slab,slabs,film,films,support,supports,crystal,wire,wires,nanowire,"
     "nanowires,nanoparticle,nanoparticles,particle,particles,nanosheet,nanosheets,matrix,wafer,"
     "tip,pore,pores,cage,cages,cavity,membrane,bilayer,monolayer,sheet,sheets,lattice,solid,dot,"
     "dots,flake,flakes,crystallite,crystallites,nanocrystal,nanocrystals"},
    {open_unless_two,
     "interface,interfaces,heterostructure,heterostructures,heterojunction,heterojunctions,"
     "heterobilayer,superlattice,superlattices,composite,composites,junction,junctions,adsorption,"
     "adsorb,adsorbs,adsorbed,adsorbing,physisorption,chemisorption,physisorbed,chemisorbed,"
     "desorption,intercalation,intercalated,intercalate,implantation,implanted,compare,compares,"
     "comparing,comparison,mixed with,reaction,reacts,react,solubility,dissolution,dissolved,"
     "dissolve,solvation,wetting,epitaxy,epitaxial,heteroepitaxy,deposited,deposition,grown on,"
     "embedded,anchored,decorated,supported,loaded,coated,encapsulated,confined,alloy,alloying,"
     "alloyed,solid solution,intermetallic,amalgam,eutectic,blend,permeation,uptake,storage,"
     "capture,sieving,separation,overlayer,moire,sandwich,sandwiched,stack,stacks,heterogeneous,"
     "contact angle,bound to,binds to,binding to,attach,bonded to,band alignment,band offset,"
     "band offsets,trapped,sensor,sensors,sensing,complex,complexes,chelate,chelates,catalysis,"
     "titration,neutralisation,neutralization,catalyses,catalyzes"},
    {open_unless_agent,
     "doped,doping,codoped,codoping,doping level,substituted,substitution,substitutional,"
     "functionalised,functionalized,functionalisation,functionalization,passivated,terminated,"
     "capped,poisoned,contaminated,contamination,stabilised,stabilized,promoted,stuffed,filled,"
     "activated,sensitised,sensitized,ligated,co doped,dope,dopes,passivate,passivates,"
     "functionalise,functionalize,substitute,substitutes,saturate,saturated,decorate"},
    {owner,
     "my,our,this,these,those,that,your,his,her,their,all,every,each,both,any,following,attached,"
     "given,provided,included,first,second,third,two,three,four,five,different,multiple,many,new,"
     "unnamed,existing,original,old,current,which,what,several,various,alternative,alternatives,"
     "some,next,further,additional,more"},
    {thing,
     "structure,structures,file,files,cell,cells,model,models,geometry,geometries,system,systems,"
     "compound,compounds,material,materials,sample,samples,crystals,coordinates,poscar,poscars,cif,"
     "cifs,xyz,molecule,molecules,slab,slabs,supercell,supercells,input,inputs,candidates,"
     "configuration,configurations,snapshot,snapshots,complexes,complex,solid,solids,one,ones,"
     "images,frames,cases,entries"},
    {not_a_material,
     "site,sites,finite,infinite,definite,definitely,indefinite,white,write,rewrite,overwrite,"
     "quite,despite,opposite,suite,cite,invite,website,onsite,on-site,elite,bite,kite,unite,"
     "requisite,prerequisite,exquisite,composite,crystallite,crystallites,favorite,favourite,"
     "satellite,satellites,polite,excite,recite,ignite,expedite,side,sides,beside,besides,inside,"
     "outside,aside,wide,provide,provides,decide,guide,guides,divide,slide,slides,hide,ride,tide,"
     "coincide,override,collide,reside,upside,worldwide,nationwide,alongside,stride,pride,bride,"
     "plane,planes,membrane,lane,crane,insane,scene,gene,intervene,obscene,hygiene,eugene,one,ones,"
     "done,none,gone,zone,zones,phone,clone,alone,tone,stone,someone,everyone,anyone,cone,cones,"
     "bone,backbone,milestone,throne,prone,hone,lone,drone,keystone,touchstone,baritone,postpone,"
     "standalone,line,lines,fine,define,determine,combine,examine,refine,machine,machines,routine,"
     "engine,online,offline,inline,pipeline,baseline,outline,crystalline,polycrystalline,"
     "nanocrystalline,genuine,imagine,medicine,spine,spline,decline,nine,mine,wine,vine,shine,"
     "marine,headline,deadline,guideline,guidelines,streamline,underline,affine,cosine,sine,"
     "magazine,discipline,cuisine,alkaline,intertwine,subroutine,redefine,undermine,feminine,"
     "masculine,turbine,submarine,canine,feline,divine,bovine,pristine,byline,hairline,sideline,"
     "borderline,mainline,timeline,airline,control,controls,tool,tools,protocol,protocols,symbol,"
     "symbols,school,pool,cool,mol,vol,idol,patrol,toolbox,fool,spool,purpose,propose,choose,close,"
     "those,whose,loose,lose,expose,compose,decompose,suppose,dispose,impose,diagnose,dose,nose,"
     "pose,rose,purposes,oppose,enclose,disclose,superimpose,transpose,multipurpose,verbose,goose,"
     "adipose,medium,equilibrium,premium,stadium,spectrum,symposium,podium,helicity,continuum,"
     "minimum,identity,vinyl,weekly,resonate,passionate,fractionate"},
    {matter,
     "atom,atoms,adatom,adatoms,ion,ions,cation,cations,anion,anions,vacancy,vacancies,"
     "interstitial,interstitials,impurity,impurities,dopant,dopants,doped,doping,codoped,"
     "substitution,substituted,molecule,molecules,radical,radicals,dimer,dimers,monolayer,"
     "adsorption,adsorbed,adsorbate,adlayer,overlayer,implantation,implanted,bubble,bubbles,"
     "diffusion,diffusing,defect,defects,nucleus,nuclei,isotope,isotopes,sublattice,layer,layers,"
     "nanoparticle,nanoparticles,nanowire,bulk,metal,slab,surface,surfaces,crystal,content,"
     "concentration,termination,terminated,migration,dissociation,oxidation,poisoning,stretch,"
     "ligand,ligands,group,groups,coverage,desorption,antisite,antisites,intercalation,segregation,"
     "clusters,gas,plasma,compound,compounds,alloy,alloys,oxide,nitride,sputtering,irradiation,"
     "incorporation,deposition,electrode,precipitate,rich,poor,deficient,excess,species,"
     "pseudopotential,chains,nanotube,thin,film,films,bcc,fcc,hcp,3d,4d,5d,4f,5f"},
    {part_after,
     "atom,atoms,adatom,adatoms,ion,ions,vacancy,vacancies,interstitial,interstitials,impurity,"
     "impurities,dopant,dopants,doped,doping,adsorption,adsorbed,adsorbs,desorption,implantation,"
     "diffusion,diffusivity,diffuses,migration,migrates,hopping,intercalation,embrittlement,defect,"
     "defects,substitution,content,concentration,coverage,segregation,poisoning,pseudopotential,"
     "pseudopotentials,potential,potentials,positions,position,storage,evolution,reduction,capture,"
     "permeation,dissociation,dissociates,activation,fixation,splitting,synthesis,uptake,"
     "separation,purification,sublattice,site,sites,layer,layers,termination,incorporation,"
     "transfer,transport,battery,batteries,recovery,removal,exchange,production,oxidation,"
     "insertion,extraction,release,sensing,sensor,detection,conversion,decomposition,bonding,"
     "substituted,passivation,terminated,passivated,solubility,trapping,retention,leaching,k,l,"
     "spins,moments,moment,orbitals,states,electrons,basis,basis set,charges,ligand,ligands,groups,"
     "group,bridge,bridges,pair,pairs,chain,chains,on,onto,around,near,above,distance,distances,"
     "bond,bonds,octahedra,tetrahedra,polyhedra,octahedron,tetrahedron,unit,units,plane,planes,"
     "rotation,stretch,bend,p,d,s,f,2p,3p,3d,4d,5d,4f,5f,occupation,charge,catalysis,oxidiser,"
     "framework,block,blocks,kagome,channels"},
    {unit_after,
     "octahedra,tetrahedra,polyhedra,octahedron,tetrahedron,unit,units,plane,planes,layers,group,"
     "groups,sublattice,block,blocks,chains,rotation"},
    {part_before,
     "insert,add,remove,delete,fix,freeze,count,include,put,place,adsorb,displace,move,inserting,"
     "adding,removing,fixing,freezing,counting,including,placing,diffusion,migration,adsorption,"
     "dissociation,insertion,activation,implant,inject,intercalate,deposit,relax only,constrain,"
     "single,extra,missing,swap,drag,attack,exchange,loss,excess,length,distance,angle,charge,"
     "charges,position,positions,moment,moments,between,many,occupation,number,octahedra,"
     "tetrahedra,wyckoff,coordination,spins,valence,radius,u,octahedral,role,amount,fraction,"
     "concentration,rotate,exchanging,replacing,contains,contain,consists,comprises"},
    {label_after,
     "point,points,edge,edges,site,sites,axis,axes,type,mesh,meshes,grid,grids,path,paths,space,"
     "vector,vectors,factor,value,values,band,bands,shell,shells,orbital,orbitals,alpha,beta,ray,"
     "rays,wave,waves,plane,planes,direction,curve,curves,parameter,parameters,correction,matrix,"
     "function,functional,vs,versus,sampling,mode,modes,valley,valleys,phase,center,centre,"
     "symmetry,term,terms,tensor,channel,channels,group,electrons,bond,bonds,coordinates,spectrum,"
     "characteristic,characteristics,shape,convergence,kpoint,language,code,compiler,index,indices,"
     "region,line,lines,cells"},
    {label_before,
     "phase,type,class,part,step,model,case,method,option,group,hubbard,point,points,parameter,"
     "variable,matrix,site,appendix,table,figure,fig,eq,section,scheme,version,plan,run,task,set,"
     "symmetry,gamma,volume,pressure,temperature,force,modulus,value"},
    {after_word_in,
     "this,that,these,those,the,a,an,our,my,your,his,her,its,their,order,addition,general,"
     "particular,which,what,all,each,case,principle,contrast,total,short,fact,practice,vacuum,situ,"
     "both,other,such,some,any,one,two,three,most,many,few,it,them,we,you,i,far,soon,well,for,"
     "mentioned,discussed,described,before,above,below,next,expected,shown,to,suggested,usual,"
     "always,part,reference,grown,deposited,received,prepared,synthesised,synthesized,is,built,"
     "cast,careful,aware,sure,able,honest,brief,quick,patient,precise,warned,consistent,least,"
     "first,last,present,times,once,ambient,room,high,low,zero,finite,would,will,can,could,should,"
     "may,might,must,has,had,was,does,did,do,have,wants,want,needs,need,asks,asked,says,said,"
     "thinks,think,prefers,prefer,suggests,recommended,recommends,used,uses,use,told,wrote,claims,"
     "also,just,then,now,only,really,already,never,often,there,parallel,detail,details,between,"
     "line,light,view,terms,time,follow,right,so,not,phonons,re,if,when,where,how,why,who,later,"
     "further,more,less,no,too,new,old,previous,earlier,several,recent,various,whichever,possible,"
     "much,little,long,needed,required,requested,stated,noted,seen,known,given,promised,agreed,"
     "early,late,plane,planes,house"},
    {ordinary_after,
     "queue,partition,node,nodes,server,machine,account,supercomputer,workstation,laptop,license,"
     "licence,colour,color,coloured,colored,theme,button,award,anniversary,prize,package,software,"
     "program,viewer,users,team,project,tier,plan,edition"},
    {eponym,
     "dirac,fermi,brillouin,gamma,hubbard,raman,wannier,kohn,born,hall,bloch,debye,bader,seebeck,"
     "rashba,moire,van,frenkel,schottky,auger,mott,kondo,lennard,grüneisen,heisenberg,curie,neel,"
     "bragg,landau,dresselhaus,dzyaloshinskii,stark,zeeman,stone,wigner,madelung,kekule,peierls,"
     "jahn,please,band,bands,phonon,phonons,structure"},
    {link,
     "and,or,in,on,at,to,from,into,onto,for,with,by,as,under,inside,near,over,of,vs,around,above"},
    {irrep_after,
     "mode,modes,irrep,irreps,representation,representations,symmetry,symmetric,phonon,phonons,"
     "raman,infrared,breathing,stretching,vibration,vibrations"},
    {not_of_it,
     "input,output,log,pseudopotential,pseudo,potential,upf,charge,density,restart,wavefunction,"
     "fermi,energy,isosurface,iso,response,parameter,band,electronic,data,config,configuration,job,"
     "script,batch,text,movie,image,structure,spin,constant,save,dynamical,eigenvalue,trajectory,"
     "print,xml,json,error,cube,brillouin,reciprocal,bravais,operating,file,metal insulator,first,"
     "computer,k point,coordinate,periodic,memory,point,unit,overlap,hessian,crystal,slater,"
     "hamiltonian"},
    {unsafe_symbol,
     "In,As,At,Be,He,Am,Re,Os,No,Pm,Cm,Fm,Md,Mt,Es,Ra,Pa,Ac,Th,Cs,Tm,Db,Sg,Bh,Hs,Ds,Rg,Cn,Nh,Fl,Mc,"
     "Lv,Ts,Og,Ne,Ho,La,Lu,Er"},
    {word_like_symbol, "I,In,As,At,Be,He,Am,No,Re,Os"},
    {symbol_of_mode, "Ag,Au,Eu,Cs,Th"},
    {lower_case_symbol,
     "si,ge,fe,cu,zn,au,pt,pd,ti,mn,ni,cr,ag,zr,nb,ga,ta,hf,ru,rh,ir,pb,mo,li,na,ca,sr,ba,al,mg"},
    {capital_formula, "BN,WC,VN,KF,KOH,HCN,KCN,KBF,HCOOH,HOOH,HNO,VC"},
    {element_molecule, "H2,N2,O2,S8,P4,C60,C70,H2+,O2-,H+,K+,F-,I-"},
    {two_letter_lattice, "Fm,Pm,Cm,Pa"},
    {path_point, "gamma,γ,Γ,G,g,L,X,M,Z,A,R,T,Q"},
    {proper_name, "mercury,diamond,neon,argon,ruby,helium,amber,cobalt"},
    {chemical_ending,
     "ite,ites,ide,ides,ane,anes,ene,enes,yne,ynes,ine,ines,ol,ols,ose,onate,ylate,oate,ium,one,"
     "ones,yl"},
    {before_lead, "bulk,liquid,molten,solid,fcc,superconducting,metallic,pure"},
    {before_symbol, "fcc,bcc,hcp,crystalline,amorphous,metallic"},
    {before_lower_case, "of,for,bulk,fcc,bcc,hcp,pure,crystalline,amorphous"},
    {single_atom, "atom,atoms,vacancy"},
    {wish, "would,i'd,we'd,also,really,d,should,you"},
    {namer, "of,is,are,called,named,from,made,namely,being"},
    {adding, "with,and,plus"},
    {article, "a,an,some,one"},
});

using WordSet = std::unordered_set<std::string_view>;

std::array<WordSet, ROWS.size()> words_by_kind() {
  std::array<WordSet, ROWS.size()> sets;
  for (auto [kind, words] : ROWS)
    while (!words.empty()) sets.at(static_cast<std::size_t>(kind)).insert(cut_item(words));
  return sets;
}

}  // namespace

bool is_kind(std::string_view words, WordKind kind) {
  static const std::array<WordSet, ROWS.size()> sets = words_by_kind();
  return sets.at(static_cast<std::size_t>(kind)).contains(words);
}

}  // namespace agent_modules
