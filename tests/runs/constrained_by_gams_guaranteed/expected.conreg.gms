$offdigit
$offsymxref offsymlist
set trv_j /1*2/;
set trv_i /1*5/;
VARIABLE trv_z;
PARAMETERS trv_beta(trv_j), trv_zmin, trv_zmax ;
VARIABLE x;
x.LO = 0;
x.UP = 5;
trv_beta('1') = 2.037837837837838;
trv_beta('2') = -1.043243243243243;
trv_zmin = 0; trv_z.up = trv_zmin;
EQUATIONS trv_obj;
trv_obj.. trv_z =E=  + trv_beta('1')*(x) + trv_beta('2')*1.00 ;
EQUATION trv_dummy;
trv_dummy .. x =L= 5 ;
option limrow=0 ;
option limcol=0 ;
option optcr=0.05 ;
option reslim =<t> ;
option nlp=mirak ;
MODEL trv_conreg /all/;
$onecho > mirak.opt
NumSol  2
isoltol 0.01
gdxout multsol
deltaTerm 1
deltaT 5
deltaA 0.1
deltaR 0.1
$offecho
trv_conreg.optfile = 1;
SOLVE trv_conreg minimizing trv_z using NLP;
set trv_sol /multsol1*multsol2/;
variables trv_zsol(trv_sol);
VARIABLE xtrv_sol(trv_sol);
file crres
put crres;
crres.pc=4;
put trv_conreg.modelstat:3:0 / ;
parameter trv_ms; trv_ms=trv_conreg.modelstat;
if ((trv_ms ne 4) and (trv_ms ne 10) and (trv_ms ne 19) and (trv_ms ne 14),
execute 'gdxmerge multsol*.gdx > %gams.scrdir%merge.scr';
execute_load 'merged.gdx',trv_zsol=trv_z
, xtrv_sol=x
;
execute        'rm %gams.scrdir%merge.scr';
option decimals=8;
display trv_zsol.l
, xtrv_sol.l
;
loop(trv_sol,
put xtrv_sol.l(trv_sol), trv_zsol.l(trv_sol) /;
);
);
